#pragma once

#include <QDialog>
#include <QSizeF>

#include <array>

class QGroupBox;
class QLineEdit;
class QListWidget;
class QPushButton;

// Print settings: the printer, or a PDF file, and the page margins in millimetres, kept in
// section "Print" of the settings file. The caller reads confirmed() and the settings after.
class wPrintConfig : public QDialog
{
    Q_OBJECT

public:
    enum ButtonIndex { Ok = 0, Cancel = 1 };
    enum Margin { Top = 0, Bottom = 1, Left = 2, Right = 3, Value = 4 };

    explicit wPrintConfig(QWidget* parent = nullptr);

    // Hides the margins group: only the printer is chosen. Set before showing.
    void setMaskMargins(bool mask);
    bool confirmed() const { return m_confirmed; }

    // The settings key of a margin and its default when absent.
    static QString MarginKey(int margin);
    static QString MarginDefault(int margin);
    // The list entry that writes a PDF file, in the current language.
    static QString PdfEntry();

    QListWidget* printers() const { return m_lstPrinters; }
    QLineEdit* margin(int index) const { return m_tbMargins[static_cast<size_t>(index)]; }
    QGroupBox* marginsFrame() const { return m_frmMargins; }
    QPushButton* button(int index) const { return m_bouton[static_cast<size_t>(index)]; }

    void Bouton_Click(int index);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildControls();
    void load();
    // The first margin that cannot be used on a page of that size in millimetres, or -1.
    int refusedMargin(QSizeF page) const;

    QListWidget* m_lstPrinters = nullptr;
    QGroupBox* m_frmPrinter = nullptr;
    QGroupBox* m_frmMargins = nullptr;
    std::array<QLineEdit*, 5> m_tbMargins{};
    std::array<QPushButton*, 2> m_bouton{};
    bool m_confirmed = false;
};
