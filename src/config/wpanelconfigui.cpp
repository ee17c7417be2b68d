// Controls and layout of the configuration window, the values they hold, and Compare's marks.
#include "datafunctions7310.h"
#include "exchange.h"
#include "nationality.h"
#include "slavespinbox.h"
#include "textids.h"
#include "wpanelconfig.h"

#include <QComboBox>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

using namespace ConfigMap;

namespace {

constexpr const char* helpContextProperty = "helpContextId";
// A marked control: its value differs from the panel's.
const QString markStyle = QStringLiteral("background-color: #ffd27f; color: #000000;");

// A control whose word was not read: its background drawn towards the palette's highlight,
// its text in italics; the text colours stay the palette's, so it reads in dark palettes too.
QPalette unreadPalette(const QPalette& palette)
{
    QPalette marked = palette;
    const QColor highlight = palette.color(QPalette::Highlight);
    for (const auto role : {QPalette::Base, QPalette::Button, QPalette::Window}) {
        const QColor base = palette.color(role);
        const auto mix = [](int a, int b) {
            return (a * 6 + b * 4) / 10;
        };
        marked.setColor(role, QColor(mix(base.red(), highlight.red()),
                                     mix(base.green(), highlight.green()),
                                     mix(base.blue(), highlight.blue())));
    }
    return marked;
}

// The label under a control that shows the panel's value after Compare.
QLabel* newPanelLabel(QWidget* group, int index)
{
    auto* label = new QLabel(group);
    label->setObjectName(QStringLiteral("lblPanel_%1").arg(index));
    label->setForegroundRole(QPalette::Highlight);
    label->hide();
    return label;
}

using Tags::Button;
using Tags::Named;

} // namespace

void wPanelConfig::buildControls()
{
    setObjectName(QStringLiteral("wPanelConfig"));
    Tags::Set(this, TextId::PanelConfigTitle);
    setHelpContextId(TextId::PanelConfigTitle);

    m_frmPages = Named(new QFrame(this), QStringLiteral("frmPages"), TextId::PanelConfigTitle);
    m_frmPages->setFrameShape(QFrame::NoFrame);
    m_frmFrames[0] = buildOptions();
    m_frmFrames[1] = buildCommunication();

    auto* versionRow = new QHBoxLayout;
    auto* versionCaption =
        Named(new QLabel(m_frmPages), QStringLiteral("lblLabels_%1").arg(m_lblLabels.size()),
              TextId::FirmwareVersion);
    m_lblLabels.append(versionCaption);
    m_lblVersionK7310 = Named(new QLabel(m_frmPages), QStringLiteral("lblVersionK7310"));
    m_lblVersionK7310->setFrameShape(QFrame::Panel);
    m_lblVersionK7310->setFrameShadow(QFrame::Sunken);
    m_lblVersionK7310->setMinimumWidth(60);
    m_lblVersionK7310->setAlignment(Qt::AlignCenter);
    versionRow->addWidget(versionCaption);
    versionRow->addWidget(m_lblVersionK7310);
    versionRow->addStretch();

    m_cmdConfigInit = Button(m_frmPages, "cmdConfigInit", TextId::ConfigInit);
    m_cmdReadConfig = Button(m_frmPages, "cmdReadConfig", TextId::ReadConfig);
    m_cmdWriteConfig = Button(m_frmPages, "cmdWriteConfig", TextId::WriteConfig);
    m_cmdCompare = Button(m_frmPages, "cmdCompare", TextId::Compare);
    m_cmdSaveFile = Button(m_frmPages, "cmdSaveFile", TextId::SaveFile);
    m_cmdOpenFile = Button(m_frmPages, "cmdOpenFile", TextId::OpenFile);
    m_cmdPrint = Button(m_frmPages, "cmdPrint", TextId::PrintConfig);
    auto* commands = new QGridLayout;
    commands->addWidget(m_cmdConfigInit, 0, 0);
    commands->addWidget(m_cmdReadConfig, 0, 1);
    commands->addWidget(m_cmdWriteConfig, 0, 2);
    commands->addWidget(m_cmdCompare, 1, 0);
    commands->addWidget(m_cmdOpenFile, 1, 1);
    commands->addWidget(m_cmdSaveFile, 1, 2);
    commands->addWidget(m_cmdPrint, 1, 3);

    auto* frames = new QHBoxLayout;
    frames->addWidget(m_frmFrames[1]);
    frames->addWidget(m_frmFrames[0]);
    auto* pages = new QVBoxLayout(m_frmPages);
    pages->addLayout(frames);
    pages->addLayout(versionRow);
    pages->addStretch();
    pages->addLayout(commands);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_frmPages);

    // Each control's pop-up help is its caption's.
    for (const Parameter& parameter : Parameters()) {
        control(parameter.index)->setProperty(helpContextProperty, parameter.labelId);
        if (parameter.index == Slave)
            m_txtConfParam2->setProperty(helpContextProperty, parameter.labelId);
    }
}

// The options of the firmware: synchronisation, acknowledgement and the K/L inputs.
QGroupBox* wPanelConfig::buildOptions()
{
    auto* group = Named(new QGroupBox(m_frmPages), QStringLiteral("frmFrames_0"));
    auto* grid = new QGridLayout(group);
    int row = 0;
    for (const int index : {Synchro, Ack, BusKL, LedTestKL}) {
        const Parameter& parameter = ParameterAt(index);
        auto* list = Named(new QComboBox(group), QStringLiteral("cboConfParam_%1").arg(index),
                           parameter.firstItemId);
        for (int i = 0; i < parameter.itemCount; ++i)
            list->addItem(QString());
        // The longest item of the current language is never cut, whatever the style's margins.
        list->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        m_cboConfParam[index] = list;
        auto* caption =
            Named(new QLabel(group), QStringLiteral("lblLabels_%1").arg(m_lblLabels.size()),
                  parameter.labelId);
        caption->setBuddy(list);
        m_lblLabels.append(caption);
        m_lblPanel[index] = newPanelLabel(group, index);
        grid->addWidget(caption, row, 0);
        grid->addWidget(list, row++, 1);
        grid->addWidget(m_lblPanel[index], row++, 1);
    }
    grid->setRowStretch(row, 1);
    return group;
}

// The line: speed, stop bits, bus mode and slave number.
QGroupBox* wPanelConfig::buildCommunication()
{
    auto* group =
        Named(new QGroupBox(m_frmPages), QStringLiteral("frmFrames_1"), TextId::GroupCommunication);
    auto* grid = new QGridLayout(group);

    auto* speed = Named(new QComboBox(group), QStringLiteral("cboConfParam_0"));
    for (int i = 0; i < SpeedItems().size(); ++i)
        speed->addItem(SpeedItems()[i], SpeedCodes()[static_cast<std::size_t>(i)]);
    auto* stops = Named(new QComboBox(group), QStringLiteral("cboConfParam_1"));
    stops->addItems(StopItems());
    const Parameter& busMode = ParameterAt(BusMode);
    auto* bus = Named(new QComboBox(group), QStringLiteral("cboConfParam_3"), busMode.firstItemId);
    for (int i = 0; i < busMode.itemCount; ++i)
        bus->addItem(QString());
    m_cboConfParam[Speed] = speed;
    m_cboConfParam[Stops] = stops;
    m_cboConfParam[BusMode] = bus;

    m_updCommSlave = Named(new SlaveSpinBox(group), QStringLiteral("updCommSlave"));
    m_updCommSlave->setValue(1);
    m_txtConfParam2 = m_updCommSlave->findChild<QLineEdit*>();
    m_txtConfParam2->setObjectName(QStringLiteral("txtConfParam_2"));

    int row = 0;
    for (const int index : {Speed, Stops, BusMode, Slave}) {
        auto* caption =
            Named(new QLabel(group), QStringLiteral("lblLabels_%1").arg(m_lblLabels.size()),
                  ParameterAt(index).labelId);
        caption->setBuddy(control(index));
        m_lblLabels.append(caption);
        grid->addWidget(caption, row, 0);
        grid->addWidget(control(index), row, 1);
        m_lblPanel[index] = newPanelLabel(group, index);
        grid->addWidget(m_lblPanel[index], row + 1, 1);
        if (index == Speed) {
            // The unit keeps its literal caption in every language.
            auto* unit = Named(new QLabel(QStringLiteral("Bauds"), group),
                               QStringLiteral("lblLabels_%1").arg(m_lblLabels.size()));
            m_lblLabels.append(unit);
            grid->addWidget(unit, row, 2);
        }
        row += 2;
    }
    grid->setRowStretch(row, 1);
    return group;
}

QWidget* wPanelConfig::control(int index) const
{
    if (index == Slave)
        return m_updCommSlave;
    return m_cboConfParam[static_cast<std::size_t>(index)];
}

void wPanelConfig::nationality()
{
    ChildWindow::nationality();
    for (const Parameter& parameter : Parameters())
        control(parameter.index)->setToolTip(DataFunctions7310::GetToolTip(parameter.labelId));
    applyMarks();
}

Values wPanelConfig::values() const
{
    Values values{};
    for (const Parameter& parameter : Parameters()) {
        values[parameter.index] = parameter.index == Slave
                                      ? m_updCommSlave->value()
                                      : m_cboConfParam[parameter.index]->currentIndex();
    }
    return values;
}

void wPanelConfig::showValues(const Values& values)
{
    for (const Parameter& parameter : Parameters()) {
        const int value = values[parameter.index];
        if (parameter.index == Slave) {
            m_updCommSlave->setValue(value);
        } else {
            m_cboConfParam[parameter.index]->setCurrentIndex(
                value >= 0 && value < parameter.itemCount ? value : NoValue);
        }
    }
}

// The panel's value as the control would show it: the item's caption, or the number.
QString wPanelConfig::panelText(int index) const
{
    const int value = *m_panelValue[index];
    if (value == PanelLacksWord)
        return DataFunctions7310::GetText(TextId::PanelLacks);
    if (index == Slave)
        return QString::number(value);
    if (value == NoValue)
        return DataFunctions7310::GetText(TextId::PanelInvalid);
    return m_cboConfParam[index]->itemText(value);
}

void wPanelConfig::clearMarks()
{
    m_panelValue.fill(std::nullopt);
    applyMarks();
}

void wPanelConfig::setLacking(int versionCode)
{
    m_lacking = versionCode;
    for (const Parameter& parameter : Parameters()) {
        const bool lacks = versionCode != 0 && !VersionServes(versionCode, parameter);
        QWidget* shown = control(parameter.index);
        shown->setEnabled(!lacks);
        for (QLabel* caption : std::as_const(m_lblLabels)) {
            if (caption->buddy() == shown)
                caption->setEnabled(!lacks);
        }
    }
    applyMarks();
}

void wPanelConfig::applyMarks()
{
    bool anyLabel = false;
    for (const Parameter& parameter : Parameters()) {
        const int index = parameter.index;
        QWidget* shown = control(index);
        const bool mark = marked(index);
        const bool lacks = m_lacking != 0 && !VersionServes(m_lacking, parameter);
        shown->setStyleSheet(mark ? markStyle : QString());
        shown->setPalette(unread(index) ? unreadPalette(m_frmPages->palette()) : QPalette());
        QFont font = shown->font();
        font.setItalic(unread(index));
        shown->setFont(font);

        const QString panel = mark ? DataFunctions7310::GetText(TextId::PanelValue)
                                         .replace(QStringLiteral("$$"), panelText(index))
                                   : QString();
        m_lblPanel[index]->setText(panel);
        m_lblPanel[index]->setVisible(mark);
        anyLabel |= mark;
        QStringList tips;
        if (lacks)
            tips << DataFunctions7310::GetText(TextId::LackedTip).arg(VersionText(m_lacking));
        if (mark)
            tips << panel;
        if (unread(index))
            tips << DataFunctions7310::GetText(TextId::UnreadTip).arg(*m_unread[index]);
        shown->setToolTip(tips.isEmpty() ? DataFunctions7310::GetToolTip(parameter.labelId)
                                         : tips.join(QLatin1Char('\n')));
    }
    // The panel's values take room under their controls: the window grows to show them.
    if (anyLabel) {
        QWidget* frame = parentWidget() ? parentWidget() : this;
        frame->resize(frame->size().expandedTo(frame->sizeHint()));
        // Moved up when it grew beyond the bottom of the area that holds it.
        if (const QWidget* area = frame->parentWidget();
            area && frame != this && frame->geometry().bottom() >= area->height())
            frame->move(frame->x(), std::max(0, area->height() - frame->height()));
    }
}
