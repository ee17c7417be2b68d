// Controls and layout of the line survey window, and what the table shows of a row.
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "linesurvey.h"
#include "nationality.h"
#include "textids.h"
#include "wlinesurvey.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

using namespace LineSurvey;

namespace {

using Tags::Button;
using Tags::Named;

QSpinBox* spinBox(QWidget* parent, const char* name, int low, int high, int value)
{
    auto* box = Named(new QSpinBox(parent), QLatin1String(name));
    box->setRange(low, high);
    box->setValue(value);
    return box;
}

QLabel* label(QWidget* parent, const char* name, int textId, QWidget* buddy)
{
    auto* caption = Named(new QLabel(parent), QLatin1String(name), textId);
    caption->setBuddy(buddy);
    return caption;
}

} // namespace

void wLineSurvey::buildControls()
{
    setObjectName(QStringLiteral("wLineSurvey"));
    Tags::Set(this, TextId::SurveyTitle);
    setHelpContextId(TextId::SurveyTitle);

    m_frmSettings =
        Named(new QGroupBox(this), QStringLiteral("frmSettings"), TextId::SurveySettings);
    m_settingsLayout = new QGridLayout(m_frmSettings);
    m_settingsLayout->setVerticalSpacing(2);

    m_cmdSurvey = Button(this, "cmdSurvey", TextId::SurveyStart);
    m_cmdCancel = Button(this, "cmdCancel", TextId::SurveyCancel);
    m_cmdExport = Button(this, "cmdExport", TextId::SurveyExport);
    m_cmdOpenConfig = Button(this, "cmdOpenConfig", TextId::SurveyOpenInConfig);
    m_cmdCommission = Button(this, "cmdCommission", TextId::SurveyCommission);
    m_cmdCancel->setEnabled(false);
    auto* commands = new QVBoxLayout;
    for (QPushButton* command :
         {m_cmdSurvey, m_cmdCancel, m_cmdExport, m_cmdOpenConfig, m_cmdCommission})
        commands->addWidget(command);
    commands->addStretch();

    auto* top = new QHBoxLayout;
    top->addWidget(m_frmSettings);
    top->addWidget(buildOptions(), 1);
    top->addLayout(commands);

    m_prgSurvey = Named(new QProgressBar(this), QStringLiteral("prgSurvey"));
    m_prgSurvey->setRange(0, 1000);
    m_prgSurvey->setValue(0);
    m_prgSurvey->setTextVisible(true);
    m_prgSurvey->setFormat(QString());

    m_table = Named(new QTableWidget(this), QStringLiteral("grdResults"));
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setSortingEnabled(true);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->setColumnCount(static_cast<int>(headings().size()));

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(m_prgSurvey);
    layout->addWidget(m_table, 1);
    resize(1000, 600);
}

QGroupBox* wLineSurvey::buildOptions()
{
    auto* group = Named(new QGroupBox(this), QStringLiteral("frmOptions"), TextId::SurveyOptions);
    m_updFirst = spinBox(group, "updFirst", ConfigMap::FirstSlave, ConfigMap::LastSlave,
                         ConfigMap::FirstSlave);
    m_updLast = spinBox(group, "updLast", ConfigMap::FirstSlave, ConfigMap::LastSlave,
                        ConfigMap::LastSlave);
    m_updStopAfter = spinBox(group, "updStopAfter", 0, 64 * 10, 0);
    m_updAllowance = spinBox(group, "updAllowance", 0, MaxAllowanceMs, AllowanceFromSettingsFile());
    m_chkThorough =
        Named(new QCheckBox(group), QStringLiteral("chkThorough"), TextId::SurveyThorough);
    m_chkRetrySilent =
        Named(new QCheckBox(group), QStringLiteral("chkRetrySilent"), TextId::SurveyRetrySilent);

    auto* grid = new QGridLayout(group);
    auto* range = new QHBoxLayout;
    range->addWidget(m_updFirst);
    range->addWidget(label(group, "lblSlavesTo", TextId::SurveySlavesTo, m_updLast));
    range->addWidget(m_updLast);
    range->addStretch();
    grid->addWidget(label(group, "lblSlaves", TextId::SurveySlaves, m_updFirst), 0, 0);
    grid->addLayout(range, 0, 1);
    grid->addWidget(label(group, "lblStopAfter", TextId::SurveyStopAfter, m_updStopAfter), 1, 0);
    grid->addWidget(m_updStopAfter, 1, 1, Qt::AlignLeft);
    grid->addWidget(label(group, "lblAllowance", TextId::SurveyAllowance, m_updAllowance), 2, 0);
    grid->addWidget(m_updAllowance, 2, 1, Qt::AlignLeft);
    grid->addWidget(m_chkThorough, 3, 0, 1, 2);
    grid->addWidget(m_chkRetrySilent, 4, 0, 1, 2);
    grid->setColumnStretch(2, 1);
    grid->setRowStretch(5, 1);
    return group;
}

// One check box per setting: the line's own first, marked, then the panel's other settings.
void wLineSurvey::refreshSettings()
{
    for (QCheckBox* box : std::as_const(m_chkSettings)) {
        if (!box->isChecked())
            m_unchecked.insert(box->property("setting").toString());
        else
            m_unchecked.remove(box->property("setting").toString());
        delete box;
    }
    m_chkSettings.clear();
    const Setting current{CommFunctions::GetCommBauds(m_port), CommFunctions::GetCommStops(m_port)};
    m_shownSettings = DefaultSettings(current);
    for (const Setting& setting : std::as_const(m_shownSettings)) {
        const QString text = SettingText(setting);
        auto* box = new QCheckBox(m_frmSettings);
        box->setObjectName(QStringLiteral("chkSetting_%1").arg(m_chkSettings.size()));
        box->setProperty("setting", text);
        box->setText(setting == current
                         ? DataFunctions7310::GetText(TextId::SurveyCurrentSetting).arg(text)
                         : text);
        box->setChecked(!m_unchecked.contains(text));
        // Two columns: the list stays short and leaves the height to the table.
        const int at = static_cast<int>(m_chkSettings.size());
        m_settingsLayout->addWidget(box, at / 2, at % 2);
        m_chkSettings.append(box);
    }
}

QStringList wLineSurvey::headings() const
{
    QStringList texts;
    for (const int id : {TextId::SurveyColumnSlave, TextId::SurveyColumnSpeed,
                         TextId::SurveyColumnStops, TextId::SurveyColumnVersion})
        texts << DataFunctions7310::GetText(id);
    for (int index = 0; index < ConfigMap::ParameterCount; ++index)
        texts << DataFunctions7310::GetText(ConfigMap::ParameterAt(index).labelId);
    texts << DataFunctions7310::GetText(TextId::SurveyColumnRemarks);
    return texts;
}

QStringList wLineSurvey::cellsOf(const Row& row) const
{
    QStringList remarks;
    for (const Remark& remark : row.remarks)
        remarks << RemarkText(remark);
    return QStringList{QString::number(row.slave), QString::number(row.setting.speed),
                       QString::number(row.setting.stops), row.version} +
           ValueTexts(row) + QStringList{remarks.join(QStringLiteral("; "))};
}

void wLineSurvey::showRows()
{
    m_table->setSortingEnabled(false);
    m_table->clearContents();
    m_table->setRowCount(static_cast<int>(m_rows.size()));
    for (int r = 0; r < m_rows.size(); ++r) {
        const QStringList cells = cellsOf(m_rows[r]);
        for (int c = 0; c < cells.size(); ++c) {
            auto* item = new QTableWidgetItem;
            // Numbers sort as numbers.
            bool number = false;
            const int value = c < 3 ? cells[c].toInt(&number) : 0;
            if (number)
                item->setData(Qt::DisplayRole, value);
            else
                item->setText(cells[c]);
            item->setData(Qt::UserRole, r);
            m_table->setItem(r, c, item);
        }
    }
    m_table->setSortingEnabled(true);
    m_table->resizeColumnsToContents();
}

void wLineSurvey::nationality()
{
    ChildWindow::nationality();
    m_table->setHorizontalHeaderLabels(headings());
    refreshSettings();
    showRows();
}
