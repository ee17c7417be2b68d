#pragma once

#include "childwindow.h"

#include <QList>

#include <cstdint>

class QCheckBox;
class QLineEdit;
class QPushButton;

// The calculator: the CRC-16 of a frame typed byte by byte, and one 16-bit word converted
// between decimal, hexadecimal and binary. It sends nothing on the line.
class wPanelCalcul : public ChildWindow
{
    Q_OBJECT

public:
    // Boxes of txtConvert, by index.
    enum ConvertIndex { Decimal = 0, Hexadecimal = 1, Binary = 2 };
    // Byte boxes of the CRC tool and result boxes.
    static constexpr int CrcFrameBoxes = 16;
    static constexpr int CrcResultBoxes = 8;

    explicit wPanelCalcul(QWidget* parent = nullptr);

private:
    void buildControls();
    void connectControls();

    void cmdCrcCompute_Click();
    void CrcCompute();
    void txtCrcFrame_Change();
    void txtConvert_Change(int index);
    void chkConvertUnsigned_Click();
    bool unsignedForm() const;
    // Writes the other boxes from m_word, every box but the one the user typed into.
    void showWord(int typedIndex);

    QList<QLineEdit*> m_txtCrcFrame;
    QList<QLineEdit*> m_txtCrcResult;
    QLineEdit* m_txtFrame = nullptr;
    QPushButton* m_cmdCrcCompute = nullptr;
    QList<QLineEdit*> m_txtConvert;
    QCheckBox* m_chkConvertUnsigned = nullptr;
    // Set while the converter writes its own boxes, so their change events are ignored.
    bool m_busy = false;
    // The word that the converter shows.
    std::int16_t m_word = 0;
};
