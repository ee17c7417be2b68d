#include "wprintconfig.h"

#include "datafunctions7310.h"
#include "keyfilters.h"
#include "nationality.h"
#include "textids.h"
#include "uihelpers.h"
#include "zrbfonctions.h"

#include <QApplication>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPageSize>
#include <QPrinterInfo>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const QString print = QStringLiteral("Print");
constexpr std::array<int, 5> labelIds = {TextId::MarginTop, TextId::MarginBottom,
                                         TextId::MarginLeft, TextId::MarginRight,
                                         TextId::MarginValues};
constexpr std::array<const char*, 5> boxNames = {"tbMarginTop", "tbMarginBottom", "tbMarginLeft",
                                                 "tbMarginRight", "tbMarginValue"};

// Size in millimetres of the page the named printer starts with; A4 for a PDF file.
QSizeF pageSize(const QString& printerName)
{
    QPageSize size(QPageSize::A4);
    const QPrinterInfo info = QPrinterInfo::printerInfo(printerName);
    if (!info.isNull() && info.defaultPageSize().isValid())
        size = info.defaultPageSize();
    return size.size(QPageSize::Millimeter);
}

} // namespace

wPrintConfig::wPrintConfig(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("wPrintConfig"));
    Tags::Set(this, TextId::PrintTitle);
    MakeSmallDialog(this);
    buildControls();
    load();
}

QString wPrintConfig::MarginKey(int margin)
{
    static const std::array<QString, 5> keys = {
        QStringLiteral("TopMargin"), QStringLiteral("BottomMargin"), QStringLiteral("LeftMargin"),
        QStringLiteral("RightMargin"), QStringLiteral("ValueMargin")};
    return keys.at(static_cast<size_t>(margin));
}

QString wPrintConfig::MarginDefault(int margin)
{
    static const std::array<QString, 5> defaults = {QStringLiteral("20"), QStringLiteral("10"),
                                                    QStringLiteral("20"), QStringLiteral("20"),
                                                    QStringLiteral("120")};
    return defaults.at(static_cast<size_t>(margin));
}

QString wPrintConfig::PdfEntry()
{
    return DataFunctions7310::GetText(TextId::PrintPdfEntry);
}

void wPrintConfig::buildControls()
{
    m_frmPrinter = new QGroupBox(this);
    m_frmPrinter->setObjectName(QStringLiteral("frmPrinter"));
    Tags::Set(m_frmPrinter, TextId::PrintPrinter);
    m_lstPrinters = new QListWidget(m_frmPrinter);
    m_lstPrinters->setObjectName(QStringLiteral("lstPrinters"));
    auto* printerLayout = new QVBoxLayout(m_frmPrinter);
    printerLayout->addWidget(m_lstPrinters);

    m_frmMargins = new QGroupBox(this);
    m_frmMargins->setObjectName(QStringLiteral("frmMargins"));
    Tags::Set(m_frmMargins, TextId::PrintMargins);
    auto* grid = new QGridLayout(m_frmMargins);
    for (size_t i = 0; i < m_tbMargins.size(); ++i) {
        auto* label = new QLabel(m_frmMargins);
        label->setObjectName(QStringLiteral("lblMargins_%1").arg(i));
        Tags::Set(label, labelIds.at(i));
        auto* box = new QLineEdit(m_frmMargins);
        box->setObjectName(QLatin1String(boxNames.at(i)));
        box->setMaximumWidth(60);
        box->installEventFilter(this);
        m_tbMargins.at(i) = box;
        grid->addWidget(label, static_cast<int>(i), 0);
        grid->addWidget(box, static_cast<int>(i), 1);
    }
    // A sketch of the page: labels at the left margin, values in their column.
    auto* sketch = new QLabel(QStringLiteral("-------  -- -------  -- -------  -- ------   ---"),
                              m_frmMargins);
    sketch->setObjectName(QStringLiteral("lblSketch"));
    sketch->setFrameShape(QFrame::Box);
    sketch->setWordWrap(true);
    grid->addWidget(sketch, 0, 2, 5, 1);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    const std::array<int, 2> buttonIds = {TextId::Ok, TextId::Cancel};
    for (int i : {Ok, Cancel}) {
        auto* button = new QPushButton(this);
        button->setObjectName(QStringLiteral("Bouton_%1").arg(i));
        Tags::Set(button, buttonIds.at(static_cast<size_t>(i)));
        button->setAutoDefault(false);
        m_bouton.at(static_cast<size_t>(i)) = button;
        buttons->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, i] { Bouton_Click(i); });
    }
    m_bouton[Ok]->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_frmPrinter);
    layout->addWidget(m_frmMargins);
    layout->addLayout(buttons);
}

void wPrintConfig::load()
{
    for (int i = 0; i < static_cast<int>(m_tbMargins.size()); ++i)
        margin(i)->setText(ZRBfonctions::GetIniParam(print, MarginKey(i), MarginDefault(i)));

    const QString saved = ZRBfonctions::GetIniParam(print, QStringLiteral("PrinterName"),
                                                    QPrinterInfo::defaultPrinterName());
    m_lstPrinters->addItems(QPrinterInfo::availablePrinterNames());
    // Always last, so that a computer without a printer can still print.
    m_lstPrinters->addItem(PdfEntry());
    const QList<QListWidgetItem*> found = m_lstPrinters->findItems(saved, Qt::MatchExactly);
    if (!saved.isEmpty() && !found.isEmpty())
        m_lstPrinters->setCurrentItem(found.first());
    else
        m_lstPrinters->setCurrentRow(-1);

    Tags::ApplyTexts(this);
    m_frmMargins->setTitle(m_frmMargins->title() + QStringLiteral(" (mm)"));
}

void wPrintConfig::setMaskMargins(bool mask)
{
    m_frmMargins->setVisible(!mask);
}

int wPrintConfig::refusedMargin(QSizeF page) const
{
    std::array<double, 5> mm{};
    for (size_t i = 0; i < mm.size(); ++i) {
        bool ok = false;
        mm.at(i) = m_tbMargins.at(i)->text().trimmed().toDouble(&ok);
        if (!ok || mm.at(i) < 0)
            return static_cast<int>(i);
    }
    // Of two margins that fill the page's height, the larger is the one to correct.
    if (mm[Top] + mm[Bottom] >= page.height())
        return mm[Top] > mm[Bottom] ? Top : Bottom;
    if (mm[Left] + mm[Right] >= page.width())
        return Right;
    if (mm[Left] + mm[Value] >= page.width() - mm[Right])
        return Value;
    return -1;
}

void wPrintConfig::Bouton_Click(int index)
{
    if (index == Ok) {
        QListWidgetItem* item = m_lstPrinters->currentItem();
        const QString printer = item && item->isSelected() ? item->text() : QString();
        if (!m_frmMargins->isHidden()) {
            const int refused = refusedMargin(pageSize(printer));
            if (refused >= 0) {
                QString text = DataFunctions7310::GetText(TextId::PrintMarginRefused);
                text.replace(QStringLiteral("$$"),
                             DataFunctions7310::GetText(labelIds.at(static_cast<size_t>(refused))));
                QMessageBox box(QMessageBox::Warning, ConsoleTitle(), WithLineBreaks(text),
                                QMessageBox::Ok, this);
                box.exec();
                margin(refused)->setFocus();
                SelectAll(margin(refused));
                return;
            }
            for (int i = 0; i < static_cast<int>(m_tbMargins.size()); ++i)
                ZRBfonctions::SetIniParam(print, MarginKey(i), margin(i)->text());
        }
        ZRBfonctions::SetIniParam(print, QStringLiteral("PrinterName"), printer);
        m_confirmed = true;
        accept();
        return;
    }
    reject();
}

bool wPrintConfig::eventFilter(QObject* watched, QEvent* event)
{
    auto* box = qobject_cast<QLineEdit*>(watched);
    if (box && event->type() == QEvent::FocusIn) {
        SelectAll(box);
    } else if (box && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        const QString text = key->text();
        // Editing and moving keys carry no text, or a control character.
        if (text.size() == 1 && text.at(0).isPrint() &&
            KeyFilters::NumericKey(text.at(0).unicode(), true) == 0)
            return true;
    }
    return QDialog::eventFilter(watched, event);
}
