#include "linemonitor.h"

#include "comctrl.h"
#include "datafunctions7310.h"
#include "detectk9120.h"
#include "linemodetext.h"
#include "nationality.h"
#include "textids.h"
#include "uihelpers.h"

#include <QAbstractTableModel>
#include <QApplication>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QStyle>
#include <QStyleOptionHeader>
#include <QTableView>
#include <QVBoxLayout>

namespace {

QString text(int id)
{
    return DataFunctions7310::GetText(id);
}

constexpr int Columns = 6; // time, delta, origin, request, answer, meaning

// The windows and steps that ask on the line, by the text IDs that name them in the list.
constexpr int Origins[] = {TextId::PanelConfigTitle, TextId::PanelCalculTitle,
                           TextId::PanelFrameTitle, TextId::PanelToolsTitle,
                           CommFunctions::SearchOrigin};

} // namespace

// The log as a table: rows are appended at the end, and the oldest leaves at the top once
// the ring is full.
class ExchangeModel : public QAbstractTableModel
{
public:
    using QAbstractTableModel::QAbstractTableModel;

    const ExchangeLog& log() const { return m_log; }

    void append(const Exchange& exchange)
    {
        if (m_log.full()) {
            beginRemoveRows({}, 0, 0);
            m_log.dropOldest();
            endRemoveRows();
        }
        const int row = static_cast<int>(m_log.size());
        beginInsertRows({}, row, row);
        m_log.append(exchange);
        endInsertRows();
    }
    void clear()
    {
        beginResetModel();
        m_log.clear();
        endResetModel();
    }
    void retitle() { emit headerDataChanged(Qt::Horizontal, 0, Columns - 1); }

    int rowCount(const QModelIndex& parent) const override
    {
        return parent.isValid() ? 0 : static_cast<int>(m_log.size());
    }
    int columnCount(const QModelIndex& parent) const override
    {
        return parent.isValid() ? 0 : Columns;
    }
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override
    {
        if (orientation == Qt::Horizontal && role == Qt::DisplayRole)
            return text(TextId::MonitorTime + section);
        return QAbstractTableModel::headerData(section, orientation, role);
    }
    QVariant data(const QModelIndex& index, int role) const override
    {
        const Exchange& e = m_log.at(index.row());
        const bool fault = e.outcome != Exchange::Outcome::Complete;
        if (role == Qt::ForegroundRole && fault)
            return QApplication::palette().brush(QPalette::Link);
        if (role == Qt::FontRole && fault) {
            QFont bold;
            bold.setBold(true);
            return bold;
        }
        if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
            return {};
        const auto hex = [](const QByteArray& bytes) {
            return QString::fromLatin1(bytes.toHex(' ').toUpper());
        };
        switch (index.column()) {
        case 0:
            return e.started().toString(QStringLiteral("HH:mm:ss.zzz"));
        case 1:
            return index.row() == 0
                       ? QString()
                       : QString::number(e.startedMs - m_log.at(index.row() - 1).startedMs);
        case 2:
            return e.origin ? text(e.origin) : QString();
        case 3:
            return hex(e.request);
        case 4:
            return hex(e.answer);
        default:
            return ExchangeText::Meaning(e, text);
        }
    }

private:
    ExchangeLog m_log;
};

LineMonitor::LineMonitor(ComCtrl& line, QWidget* parent)
    : QDockWidget(parent)
    , m_line(line)
    , m_model(new ExchangeModel(this))
    , m_view(new QTableView(this))
    , m_pause(new QPushButton(this))
    , m_clear(new QPushButton(this))
    , m_export(new QPushButton(this))
{
    setObjectName(QStringLiteral("wLineMonitor"));
    Tags::Set(this, TextId::MonitorTitle);
    m_view->setObjectName(QStringLiteral("lvwMonitor"));
    m_view->setModel(m_model);
    m_view->verticalHeader()->hide();
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->horizontalHeader()->setStretchLastSection(true);
    m_view->setWordWrap(false);
    m_pause->setObjectName(QStringLiteral("cmdMonitor_0"));
    m_pause->setCheckable(true);
    Tags::Set(m_pause, TextId::MonitorPause);
    m_clear->setObjectName(QStringLiteral("cmdMonitor_1"));
    Tags::Set(m_clear, TextId::MonitorClear);
    m_export->setObjectName(QStringLiteral("cmdMonitor_2"));
    Tags::Set(m_export, TextId::MonitorExport);

    auto* body = new QWidget(this);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_pause);
    buttons->addWidget(m_clear);
    buttons->addWidget(m_export);
    buttons->addStretch(1);
    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addLayout(buttons);
    layout->addWidget(m_view);
    setWidget(body);

    connect(m_clear, &QPushButton::clicked, m_model, &ExchangeModel::clear);
    connect(m_export, &QPushButton::clicked, this, &LineMonitor::exportClicked);
    m_observer = m_line.addObserver([this](const Exchange& exchange) {
        if (m_pause->isChecked())
            return;
        // The list follows new exchanges unless the user has scrolled back.
        const QScrollBar* bar = m_view->verticalScrollBar();
        const bool atEnd = bar->value() == bar->maximum();
        m_model->append(exchange);
        if (atEnd)
            m_view->scrollToBottom();
    });
    nationality();
}

LineMonitor::~LineMonitor()
{
    m_line.removeObserver(m_observer);
}

const ExchangeLog& LineMonitor::log() const
{
    return m_model->log();
}

void LineMonitor::nationality()
{
    Tags::ApplyTexts(this);
    setWindowTitle(text(TextId::MonitorTitle));
    m_model->retitle();
    fitColumns();
}

void LineMonitor::fitColumns()
{
    // Each column holds its heading and its longest text in the language shown: a time, a
    // delta of up to five digits, the longest window name, an eight-byte frame.
    QHeaderView* header = m_view->horizontalHeader();
    const QFontMetrics metrics(m_view->font());
    // The item delegate's margin on each side of a cell's text, and a blank of slack.
    const int margins =
        2 * (m_view->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, m_view) + 1) +
        metrics.horizontalAdvance(QLatin1Char(' '));
    int origin = 0;
    for (int id : Origins)
        origin = std::max(origin, metrics.horizontalAdvance(text(id)));
    const int widest[] = {metrics.horizontalAdvance(QStringLiteral("00:00:00.000")),
                          metrics.horizontalAdvance(QStringLiteral("00000")), origin,
                          metrics.horizontalAdvance(QStringLiteral("00 ").repeated(8)),
                          metrics.horizontalAdvance(QStringLiteral("00 ").repeated(8))};
    for (int column = 0; column < Columns - 1; ++column) {
        QStyleOptionHeader heading;
        heading.initFrom(header);
        heading.section = column;
        heading.text = m_model->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
        heading.fontMetrics = header->fontMetrics();
        const int headingWidth =
            header->style()
                ->sizeFromContents(QStyle::CT_HeaderSection, &heading, {}, header)
                .width();
        header->resizeSection(column, std::max(headingWidth, widest[column] + margins));
    }
}

bool LineMonitor::exportTo(const QString& path)
{
    const CommFunctions::TextLookup lookup = text;
    QStringList header;
    for (int id :
         {TextId::MonitorTime, TextId::MonitorDelta, TextId::MonitorOrigin, TextId::MonitorPort,
          TextId::MonitorSettings, TextId::MonitorRequest, TextId::MonitorAnswer,
          TextId::MonitorDuration, TextId::MonitorOutcome, TextId::MonitorMeaning})
        header << text(id);
    // How the line ran when exported: its direction control and the adapter's echo.
    const QString preface = LineModeText::Summary(m_line, lookup);
    const QByteArray bytes =
        path.endsWith(QLatin1String(".csv"), Qt::CaseInsensitive)
            ? ExchangeText::Csv(log(), header, lookup, CsvFormat::Current(), preface)
            : ExchangeText::PlainText(log(), lookup, preface);
    QString error;
    if (ExchangeText::SaveAtomically(path, bytes, &error))
        return true;
    QMessageBox::critical(this, ConsoleTitle(), text(TextId::MonitorExportFailed).arg(error));
    return false;
}

void LineMonitor::exportClicked()
{
    const QString proposed = DatedDocumentPath(QStringLiteral("k7310-line"), QStringLiteral("csv"));
    const QString path = QFileDialog::getSaveFileName(this, text(TextId::MonitorExport), proposed,
                                                      text(TextId::MonitorExportFilter));
    if (!path.isEmpty())
        exportTo(path);
}
