// The configuration window's print-out: the settings dialog, a preview, then the printer or a
// PDF file.
#include "comctrl.h"
#include "datafunctions7310.h"
#include "global.h"
#include "printout.h"
#include "prompthook.h"
#include "textids.h"
#include "wpanelconfig.h"
#include "wprintconfig.h"
#include "zrbfonctions.h"

#include <QComboBox>
#include <QDateTime>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPrintPreviewDialog>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <QPrinterInfo>
#include <QScreen>
#include <QStandardPaths>
#include <QVBoxLayout>

using namespace ConfigMap;

namespace {

// "19200 baud": a line speed with its unit, in the current language.
QString withBaud(const QString& speed)
{
    return speed.isEmpty()
               ? speed
               : speed + QLatin1Char(' ') + DataFunctions7310::GetText(TextId::PrintoutBaud);
}

// The console's own line, "/dev/ttyUSB0, 9600 baud, 8N1", from the port and its settings text
// (speed, parity letter, data bits, stop bits).
QString consoleLine(const ComCtrl& port)
{
    const QStringList parts = port.settings().split(QLatin1Char(','));
    QString line = ComCtrl::SystemLocation(port.portName());
    if (parts.size() == 4)
        line += QStringLiteral(", ") + withBaud(parts[0].trimmed()) + QStringLiteral(", ") +
                parts[2].trimmed() + parts[1].trimmed().toUpper() + parts[3].trimmed();
    else
        line += QStringLiteral(", ") + port.settings();
    return line;
}

// A preview no larger than the screen's free area, in its middle: a laptop at 1024 x 768
// shows the whole dialog with its buttons.
void fitToScreen(QWidget& dialog, QSize wanted)
{
    const QScreen* screen = dialog.screen();
    if (!screen)
        return;
    const QRect free = screen->availableGeometry();
    // Room for the window manager's frame and title bar around the dialog.
    const QSize frame(16, 48);
    const QSize size = wanted.boundedTo(free.size() - frame);
    const QSize spare = free.size() - size - frame;
    // move() places the frame's corner.
    dialog.resize(size);
    dialog.move(free.topLeft() + QPoint(spare.width() / 2, spare.height() / 2));
}

} // namespace

PrintOut::Content wPanelConfig::printContent() const
{
    using DataFunctions7310::GetText;
    PrintOut::Content content;
    content.title = GetText(TextId::PrintoutTitle);
    content.heading << GetText(TextId::PrintoutDate) + QLatin1Char(' ') +
                           QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"))
                    << GetText(TextId::PrintoutConsoleLine) + QLatin1Char(' ') +
                           consoleLine(m_port);
    content.section = GetText(TextId::PrintoutPanelSettings);
    for (const Parameter& parameter : Parameters()) {
        QString value = parameter.index == Slave
                            ? m_txtConfParam2->text()
                            : m_cboConfParam[static_cast<size_t>(parameter.index)]->currentText();
        if (parameter.index == Speed)
            value = withBaud(value);
        content.lines.append({GetText(parameter.labelId), value});
    }
    const QString version = m_lblVersionK7310->text();
    content.lines.append({GetText(TextId::FirmwareVersion),
                          version.isEmpty() ? GetText(TextId::PrintoutVersionNotRead) : version});
    content.closing << GetText(TextId::PrintoutSite) << GetText(TextId::PrintoutTechnician)
                    << GetText(TextId::PrintoutSignDate) << GetText(TextId::PrintoutSignature);
    return content;
}

bool wPanelConfig::printPdf(const QString& path)
{
    const QString why = PrintOut::WritePdf(path, printContent(), PrintOut::StoredMargins());
    if (why.isEmpty()) {
        PromptHook::Confirm(DataFunctions7310::GetText(TextId::PrintPdfSaved)
                                .replace(QStringLiteral("$$"), QDir::toNativeSeparators(path)));
        return true;
    }
    message(0, QMessageBox::Warning,
            DataFunctions7310::GetText(TextId::PrintFailed).section(QLatin1Char('|'), 0, 0) +
                QStringLiteral("\n") + QDir::toNativeSeparators(path) + QStringLiteral("\n") + why);
    return false;
}

void wPanelConfig::cmdPrint_Click()
{
    wPrintConfig settings(this);
    settings.exec();
    if (!settings.confirmed())
        return;
    const QString printerName =
        ZRBfonctions::GetIniParam(QStringLiteral("Print"), QStringLiteral("PrinterName"), {});
    const PrintOut::Content content = printContent();
    const PrintOut::Margins margins = PrintOut::StoredMargins();
    const QPrinterInfo info = QPrinterInfo::printerInfo(printerName);

    if (printerName != wPrintConfig::PdfEntry() && !info.isNull()) {
        QPrinter printer(info, QPrinter::HighResolution);
        if (!PrintOut::ApplyMargins(printer, margins)) {
            message(TextId::PrintMarginsNoRoom, QMessageBox::Warning);
            return;
        }
        QPrintPreviewDialog preview(&printer, this);
        connect(&preview, &QPrintPreviewDialog::paintRequested, this,
                [&](QPrinter* target) { PrintOut::Paint(*target, content, margins); });
        fitToScreen(preview, QSize(800, 1000));
        const bool printed = preview.exec() == QDialog::Accepted;
        if (printer.printerState() == QPrinter::Error)
            message(TextId::PrintFailed, QMessageBox::Warning);
        else if (printed)
            PromptHook::Confirm(DataFunctions7310::GetText(TextId::PrintDone)
                                    .replace(QStringLiteral("$$"), printerName));
        return;
    }

    // A PDF file: the same preview, with OK to choose the file and Cancel.
    if (printerName != wPrintConfig::PdfEntry() && QPrinterInfo::availablePrinterNames().isEmpty())
        message(TextId::PrintNoPrinter, QMessageBox::Information);
    QPrinter printer(QPrinter::HighResolution);
    printer.setPageSize(QPageSize(QPageSize::A4));
    if (!PrintOut::ApplyMargins(printer, margins)) {
        message(TextId::PrintMarginsNoRoom, QMessageBox::Warning);
        return;
    }
    QDialog preview(this);
    preview.setWindowTitle(content.title);
    auto* view = new QPrintPreviewWidget(&printer, &preview);
    connect(view, &QPrintPreviewWidget::paintRequested, this,
            [&](QPrinter* target) { PrintOut::Paint(*target, content, margins); });
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &preview);
    connect(buttons, &QDialogButtonBox::accepted, &preview, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &preview, &QDialog::reject);
    auto* layout = new QVBoxLayout(&preview);
    layout->addWidget(view);
    layout->addWidget(buttons);
    fitToScreen(preview, QSize(700, 900));
    if (preview.exec() != QDialog::Accepted)
        return;

    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    const QString proposed =
        QStringLiteral("k7310-%1-%2.pdf").arg(m_txtConfParam2->text(), Global::TimeCode());
    QString path = QFileDialog::getSaveFileName(
        this, DataFunctions7310::GetText(TextId::PrintPdfDialog), QDir(folder).filePath(proposed),
        QStringLiteral("PDF (*.pdf)"));
    if (path.isEmpty())
        return;
    if (QFileInfo(path).suffix().isEmpty())
        path += QStringLiteral(".pdf");
    printPdf(path);
}
