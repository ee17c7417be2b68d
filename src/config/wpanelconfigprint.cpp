// The configuration window's print-out: the settings dialog, a preview, then the printer or a
// PDF file.
#include "comctrl.h"
#include "datafunctions7310.h"
#include "global.h"
#include "printout.h"
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
#include <QStandardPaths>
#include <QVBoxLayout>

using namespace ConfigMap;

PrintOut::Content wPanelConfig::printContent() const
{
    using DataFunctions7310::GetText;
    PrintOut::Content content;
    content.title = GetText(TextId::PrintoutTitle);
    content.heading << GetText(TextId::PrintoutDate) + QLatin1Char(' ') +
                           QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm"))
                    << GetText(TextId::PrintoutPort) + QStringLiteral(": ") + m_port.portName() +
                           QStringLiteral(" (") + m_port.settings() + QLatin1Char(')')
                    << GetText(ParameterAt(Slave).labelId) + QStringLiteral(": ") +
                           m_txtConfParam2->text()
                    << GetText(TextId::FirmwareVersion) + QStringLiteral(": ") +
                           m_lblVersionK7310->text();
    for (const Parameter& parameter : Parameters()) {
        const QString value =
            parameter.index == Slave
                ? m_txtConfParam2->text()
                : m_cboConfParam[static_cast<size_t>(parameter.index)]->currentText();
        content.lines.append({GetText(parameter.labelId), value});
    }
    return content;
}

bool wPanelConfig::printPdf(const QString& path)
{
    const QString why = PrintOut::WritePdf(path, printContent(), PrintOut::StoredMargins());
    if (why.isEmpty())
        return true;
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
        QPrintPreviewDialog preview(&printer, this);
        connect(&preview, &QPrintPreviewDialog::paintRequested, this,
                [&](QPrinter* target) { PrintOut::Paint(*target, content, margins); });
        preview.exec();
        if (printer.printerState() == QPrinter::Error)
            message(TextId::PrintFailed, QMessageBox::Warning);
        return;
    }

    // A PDF file: the same preview, with OK to choose the file and Cancel.
    if (printerName != wPrintConfig::PdfEntry() && QPrinterInfo::availablePrinterNames().isEmpty())
        message(TextId::PrintNoPrinter, QMessageBox::Information);
    QPrinter printer(QPrinter::HighResolution);
    printer.setPageSize(QPageSize(QPageSize::A4));
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
    preview.resize(700, 900);
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
