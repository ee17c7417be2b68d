#include "wconfig.h"

#include "adapterinfo.h"
#include "comctrl.h"
#include "commfunctions.h"
#include "datafunctions7310.h"
#include "errorhandling.h"
#include "helpwindow.h"
#include "nationality.h"
#include "portlist.h"
#include "shellhelpers.h"
#include "textids.h"
#include "uihelpers.h"
#include "zrbfonctions.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {

constexpr const char* parityLetters = "neo";
constexpr const char* helpContextProperty = "helpContextId";
const QString communication = QStringLiteral("Communication");

QLabel* taggedLabel(const char* name, int textId, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1String(name));
    Tags::Set(label, textId);
    return label;
}

// The pop-up help of a control is found by the text ID of its caption.
void setHelpContext(QWidget* control, int contextNumber)
{
    control->setProperty(helpContextProperty, contextNumber);
}

} // namespace

QString wConfig::ParityLetter(int position)
{
    if (position < 0 || position > 2)
        return {};
    return QString(QLatin1Char(parityLetters[position]));
}

int wConfig::ParityPosition(const QString& settingsText)
{
    // The letter after the first comma, upper-cased, found in "NEO".
    const qsizetype comma = settingsText.indexOf(QLatin1Char(','));
    if (comma < 0 || comma + 1 >= settingsText.size())
        return -1;
    const QChar letter = settingsText.at(comma + 1).toUpper();
    return static_cast<int>(QStringLiteral("NEO").indexOf(letter));
}

wConfig::wConfig(ComCtrl& port, QWidget* parent)
    : QDialog(parent)
    , m_port(port)
{
    setObjectName(QStringLiteral("wConfig"));
    Tags::Set(this, TextId::ConfigTitle);
    MakeSmallDialog(this);
    buildControls();
    connectControls();
    load();
}

void wConfig::buildControls()
{
    m_tbsPages = new QTabWidget(this);
    m_tbsPages->setObjectName(QStringLiteral("tbsPages"));

    // Communication page.
    auto* page0 = new QWidget(m_tbsPages);
    page0->setObjectName(QStringLiteral("frmPage_0"));
    Tags::Set(page0, TextId::ConfigTabCommunication);
    m_cboPort = new QComboBox(page0);
    m_cboPort->setObjectName(QStringLiteral("cboPort"));
    // A pseudo-terminal or any device path can be typed in.
    m_cboPort->setEditable(true);
    m_cboPort->setInsertPolicy(QComboBox::NoInsert);
    m_cboPort->setMinimumContentsLength(18);
    m_cboBauds = new QComboBox(page0);
    m_cboBauds->setObjectName(QStringLiteral("cboBauds"));
    m_cboBauds->addItems({QStringLiteral("19200"), QStringLiteral("9600"), QStringLiteral("4800"),
                          QStringLiteral("2400"), QStringLiteral("1200")});
    m_cboStops = new QComboBox(page0);
    m_cboStops->setObjectName(QStringLiteral("cboStops"));
    m_cboStops->addItems({QStringLiteral("1"), QStringLiteral("2")});
    m_cboParity = new QComboBox(page0);
    m_cboParity->setObjectName(QStringLiteral("cboParity"));
    // Placeholders; the language refresh puts texts 1117..1119 in their place.
    m_cboParity->addItems(
        {QStringLiteral("Sans"), QStringLiteral("Paire"), QStringLiteral("Impaire")});
    Tags::Set(m_cboParity, TextId::ParityNone);
    m_chkHalfDuplex = new QCheckBox(page0);
    m_chkHalfDuplex->setObjectName(QStringLiteral("chkHalfDuplex"));
    Tags::Set(m_chkHalfDuplex, TextId::ConfigHalfDuplex);
    m_frmRtsDelay = new QGroupBox(page0);
    m_frmRtsDelay->setObjectName(QStringLiteral("frmRtsDelay"));
    Tags::Set(m_frmRtsDelay, TextId::ConfigRtsFrame);
    // One spin box serves as the delay's text box and its up-down control.
    m_updRtsDelay = new QSpinBox(m_frmRtsDelay);
    m_updRtsDelay->setObjectName(QStringLiteral("updRtsDelay"));
    m_updRtsDelay->setRange(0, 1000);
    auto* delayLayout = new QHBoxLayout(m_frmRtsDelay);
    delayLayout->addWidget(taggedLabel("lblLabels_5", TextId::ConfigRtsDelay, m_frmRtsDelay));
    delayLayout->addWidget(m_updRtsDelay);
    delayLayout->addWidget(taggedLabel("lblLabels_6", TextId::ConfigMilliseconds, m_frmRtsDelay));
    delayLayout->addStretch(1);

    m_cboEcho = new QComboBox(page0);
    m_cboEcho->setObjectName(QStringLiteral("cboEcho"));
    // Placeholders; the language refresh puts the texts in their place.
    for (auto setting :
         {LineEcho::Setting::Automatic, LineEcho::Setting::Yes, LineEcho::Setting::No})
        m_cboEcho->addItem(LineEcho::SettingValue(setting));
    Tags::Set(m_cboEcho, TextId::EchoSettingBase);

    auto* form = new QFormLayout;
    form->addRow(taggedLabel("lblLabels_0", TextId::ConfigPort, page0), m_cboPort);
    form->addRow(taggedLabel("lblLabels_1", TextId::ConfigSpeed, page0), m_cboBauds);
    form->addRow(taggedLabel("lblLabels_2", TextId::ConfigStops, page0), m_cboStops);
    form->addRow(taggedLabel("lblLabels_3", TextId::ConfigParity, page0), m_cboParity);
    auto* page0Layout = new QVBoxLayout(page0);
    page0Layout->addLayout(form);
    page0Layout->addSpacing(6);
    page0Layout->addWidget(m_chkHalfDuplex);
    page0Layout->addWidget(m_frmRtsDelay);
    auto* echoForm = new QFormLayout;
    echoForm->addRow(taggedLabel("lblLabels_8", TextId::ConfigEcho, page0), m_cboEcho);
    page0Layout->addLayout(echoForm);
    page0Layout->addStretch(1);
    m_tbsPages->addTab(page0, QString());

    // General page.
    auto* page1 = new QWidget(m_tbsPages);
    page1->setObjectName(QStringLiteral("frmPage_1"));
    Tags::Set(page1, TextId::ConfigTabGeneral);
    m_cboLanguage = new QComboBox(page1);
    m_cboLanguage->setObjectName(QStringLiteral("cboLanguage"));
    auto* hint = taggedLabel("lblLabels_7", TextId::ConfigLanguageHint, page1);
    hint->setWordWrap(true);
    auto* languageForm = new QFormLayout;
    languageForm->addRow(taggedLabel("lblLabels_4", TextId::ConfigLanguage, page1), m_cboLanguage);
    auto* page1Layout = new QVBoxLayout(page1);
    page1Layout->addLayout(languageForm);
    page1Layout->addWidget(hint);
    page1Layout->addStretch(1);
    m_tbsPages->addTab(page1, QString());

    setHelpContext(m_cboPort, TextId::ConfigPort);
    setHelpContext(m_cboBauds, TextId::ConfigSpeed);
    setHelpContext(m_cboStops, TextId::ConfigStops);
    setHelpContext(m_cboParity, TextId::ConfigParity);
    setHelpContext(m_chkHalfDuplex, TextId::ConfigHalfDuplex);
    setHelpContext(m_updRtsDelay, TextId::ConfigRtsDelay);
    setHelpContext(m_cboEcho, TextId::ConfigHalfDuplex);
    setHelpContext(m_cboLanguage, TextId::ConfigLanguage);

    const int buttonIds[3] = {TextId::Cancel, TextId::Ok, TextId::Apply};
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    for (int i : {Ok, Cancel, Apply}) {
        auto* button = new QPushButton(this);
        button->setObjectName(QStringLiteral("cmdButtons_%1").arg(i));
        Tags::Set(button, buttonIds[i]);
        button->setAutoDefault(false);
        m_cmdButtons[static_cast<size_t>(i)] = button;
        buttons->addWidget(button);
    }
    m_cmdButtons[Ok]->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tbsPages);
    layout->addLayout(buttons);
}

void wConfig::connectControls()
{
    for (int i = 0; i < 3; ++i) {
        connect(m_cmdButtons[static_cast<size_t>(i)], &QPushButton::clicked, this,
                [this, i] { cmdButtons_Click(i); });
    }
    connect(m_cboPort, &QComboBox::currentTextChanged, this, [this] { markChanged(Port); });
    connect(m_cboBauds, &QComboBox::currentIndexChanged, this, [this] { markChanged(Bauds); });
    connect(m_cboStops, &QComboBox::currentIndexChanged, this, [this] { markChanged(Stops); });
    connect(m_cboParity, &QComboBox::currentIndexChanged, this, [this] { markChanged(Parity); });
    connect(m_cboLanguage, &QComboBox::currentIndexChanged, this,
            [this] { markChanged(Language); });
    connect(m_updRtsDelay, &QSpinBox::textChanged, this, [this] { markChanged(RtsDelay); });
    connect(m_cboEcho, &QComboBox::currentIndexChanged, this, [this] { markChanged(Echo); });
    connect(m_chkHalfDuplex, &QCheckBox::toggled, this, &wConfig::chkHalfDuplex_Click);
}

void wConfig::nationality()
{
    // Caption, labels, buttons, tab titles and the parity entries 1117..1119, by tags.
    Tags::ApplyTexts(this);
}

void wConfig::load()
{
    m_loading = true;
    try {
        nationality();

        // With no port stored yet, a single serial adapter found is the likely choice.
        const QString storedPort = storedOr(QStringLiteral("Port"), QString());
        const QString soleDevice = SoleDevice(PortChoices());
        const bool proposePort = storedPort.isNull() && !soleDevice.isEmpty();
        // A stored ttyUSBn that has gone, with its adapter back under another name.
        const QString replugged = AdapterInfo::ReplugOffer(
            m_port.portName(), storedOr(QStringLiteral("PortAdapter"), QString()));
        FillPortList(m_cboPort, proposePort           ? soleDevice
                                : replugged.isEmpty() ? m_port.portName()
                                                      : replugged);
        const QString bauds = QString::number(CommFunctions::GetCommBauds(m_port));
        if (m_cboBauds->findText(bauds) < 0)
            m_cboBauds->addItem(bauds);
        m_cboBauds->setCurrentText(bauds);
        m_cboStops->setCurrentText(QString::number(CommFunctions::GetCommStops(m_port)));
        m_cboParity->setCurrentIndex(ParityPosition(m_port.settings()));

        // RTS and its delay as stored. A stored value that cannot be used (reported at
        // start-up) shows the value in force instead and is marked, so that OK repairs it.
        unsigned repair = proposePort || !replugged.isEmpty() ? unsigned(Port) : 0u;
        const auto usable = [&repair](Input input, const QString& text, int fallback, bool flag) {
            try {
                const int value = IniValue::Short(text);
                if (!flag || value == 0 || value == 1)
                    return value;
            } catch (const RunTimeError&) {
            }
            repair |= input;
            return fallback;
        };
        const int rts = usable(HalfDuplex, storedOr(QStringLiteral("RTS"), QStringLiteral("0")),
                               CommFunctions::RtsHandshake() ? 1 : 0, true);
        m_chkHalfDuplex->setChecked(rts == 1);
        m_frmRtsDelay->setVisible(rts == 1);
        m_updRtsDelay->setValue(usable(RtsDelay,
                                       storedOr(QStringLiteral("RtsDelay"), QStringLiteral("5")),
                                       CommFunctions::RtsDelay(), false));
        // The echo setting in force; a stored value that is none of the three is repaired.
        m_cboEcho->setCurrentIndex(static_cast<int>(m_port.echoSetting()));
        const QString echo = storedOr(QStringLiteral("Echo"), QString());
        if (!echo.isNull() && !LineEcho::ParseSetting(echo))
            repair |= Echo;
        // The line's settings are those in force; a stored text that differs was not usable.
        // (A port name is always usable: it is set even when the device cannot be opened.)
        const auto mark = [&repair](Input input, const QString& key, const QString& inForce) {
            const QString text = storedOr(key, QString());
            if (!text.isNull() && text != inForce)
                repair |= input;
        };
        mark(Bauds, QStringLiteral("Bauds"), bauds);
        mark(Stops, QStringLiteral("Stops"), m_cboStops->currentText());
        mark(Parity, QStringLiteral("Parity"), ParityLetter(m_cboParity->currentIndex()));

        // The language columns whose own name (the row of text 0) is not empty.
        m_cboLanguage->clear();
        m_cboLanguage->addItems(DataFunctions7310::LanguageColumns());
        const int current = m_cboLanguage->findText(DataFunctions7310::CurrentLanguage());
        m_cboLanguage->setCurrentIndex(current >= 0 ? current : 0);

        m_changed = repair;
        m_cmdButtons[Apply]->setEnabled(m_changed != 0);
    } catch (const RunTimeError& error) {
        ErrorHandling(QStringLiteral("wConfig.Form_Load"), error);
    }
    m_loading = false;
}

void wConfig::setFirstRun()
{
    m_cmdButtons[Cancel]->setVisible(false);
    m_cmdButtons[Apply]->setVisible(false);
    m_cmdButtons[Apply]->setEnabled(true);
    // OK stores the language on view even when the user picks none, and the one adapter
    // found when no port is stored yet. Nothing else: the line's values are not read from
    // the settings file before this dialog, so they cannot be told apart from bad ones.
    m_changed = (m_changed & Port) | Language;
    m_firstRun = true;
    m_tbsPages->setCurrentIndex(1);
}

QString wConfig::storedOr(const QString& key, const QString& absentValue)
{
    // A marker that no settings file holds tells "absent" from "empty".
    static const QString absent = QStringLiteral("\x01absent");
    const QString value = ZRBfonctions::GetIniParam(communication, key, absent);
    return value == absent ? absentValue : value;
}

void wConfig::markChanged(Input input)
{
    if (m_loading)
        return;
    m_changed |= input;
    m_cmdButtons[Apply]->setEnabled(true);
}

void wConfig::chkHalfDuplex_Click()
{
    m_frmRtsDelay->setVisible(m_chkHalfDuplex->isChecked());
    markChanged(HalfDuplex);
}

// The tab strip shows the page of the chosen tab; the dialog's help follows the page on view.
int wConfig::helpContextId() const
{
    return Tags::Of(m_tbsPages->currentWidget());
}

void wConfig::cmdButtons_Click(int index)
{
    switch (index) {
    case Ok:
        m_closeAfterApply = true;
        // With nothing changed, OK on a closed or lost line is the user's "try again".
        if (!m_port.isOpen() && !m_firstRun)
            m_cmdButtons[Apply]->setEnabled(true);
        cmdButtons_Click(Apply);
        if (m_closeAfterApply)
            cmdButtons_Click(Cancel);
        break;
    case Apply:
        if (!m_cmdButtons[Apply]->isEnabled())
            break;
        try {
            applyChanges();
        } catch (const RunTimeError& error) {
            m_closeAfterApply = false;
            ErrorHandling(QStringLiteral("wConfig.cmdButtons_Click"), error);
        }
        break;
    case Cancel:
    default:
        // What was applied stays applied.
        done(QDialog::Rejected);
        break;
    }
}

void wConfig::applyChanges()
{
    bool lineChanged = false;
    if (m_changed & (Port | Bauds | Stops | Parity)) {
        if (m_port.isOpen())
            m_port.close();
        const QString portName = PortListText(m_cboPort);
        m_port.setPortName(portName);
        ZRBfonctions::SetIniParam(communication, QStringLiteral("Port"), portName);
        // Which adapter it was, so that a replug under another name can be recognised.
        const QString adapter = AdapterInfo::IdentityKey(AdapterInfo::Read(portName));
        if (!adapter.isEmpty() || !storedOr(QStringLiteral("PortAdapter"), QString()).isNull())
            ZRBfonctions::SetIniParam(communication, QStringLiteral("PortAdapter"), adapter);
    }
    if (m_firstRun) {
        // The start-up sequence applies the stored speed, stop bits and parity next.
        m_changed &= ~unsigned(Port);
    } else if (m_changed & (Port | Bauds | Stops | Parity)) {
        lineChanged = true;
        CommFunctions::SetCommBauds(m_port, IniValue::Long(m_cboBauds->currentText()));
        ZRBfonctions::SetIniParam(communication, QStringLiteral("Bauds"),
                                  m_cboBauds->currentText());
        CommFunctions::SetCommStops(
            m_port, static_cast<qint16>(IniValue::Short(m_cboStops->currentText())));
        ZRBfonctions::SetIniParam(communication, QStringLiteral("Stops"),
                                  m_cboStops->currentText());
        const QString letter = ParityLetter(m_cboParity->currentIndex());
        CommFunctions::SetCommParity(m_port, letter);
        ZRBfonctions::SetIniParam(communication, QStringLiteral("Parity"), letter);
        m_changed &= ~unsigned(Port | Bauds | Stops | Parity);
    }
    // At the first run the start-up sequence opens the line once the language is stored.
    // Otherwise OK also opens a line that is closed or was lost: the user's "try again".
    if (!m_port.isOpen() && !m_firstRun && (lineChanged || m_closeAfterApply))
        m_port.open();
    if (m_changed & (HalfDuplex | RtsDelay)) {
        CommFunctions::SetRtsHandshake(m_chkHalfDuplex->isChecked());
        // A delay that is not a number counts as 0.
        const int delay = m_updRtsDelay->text().toInt();
        CommFunctions::SetRtsDelay(delay);
        ZRBfonctions::SetIniParam(communication, QStringLiteral("RTS"),
                                  m_chkHalfDuplex->isChecked() ? QStringLiteral("1")
                                                               : QStringLiteral("0"));
        ZRBfonctions::SetIniParam(communication, QStringLiteral("RtsDelay"),
                                  QString::number(delay));
        m_port.setHalfDuplex(m_chkHalfDuplex->isChecked(), delay);
        m_changed &= ~unsigned(HalfDuplex | RtsDelay);
    }
    if (m_changed & Echo) {
        const auto setting = static_cast<LineEcho::Setting>(m_cboEcho->currentIndex());
        m_port.setEchoSetting(setting);
        ZRBfonctions::SetIniParam(communication, QStringLiteral("Echo"),
                                  LineEcho::SettingValue(setting));
        m_changed &= ~unsigned(Echo);
    }
    if (m_changed & Language) {
        DataFunctions7310::SetCurrentLanguage(m_cboLanguage->currentText());
        ZRBfonctions::SetIniParam(QStringLiteral("General"), QStringLiteral("Language"),
                                  m_cboLanguage->currentText());
        RefreshAllWindows();
        m_changed &= ~unsigned(Language);
    }
    m_cmdButtons[Apply]->setEnabled(false);
}

void wConfig::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_F1) {
        showHelp();
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}

void wConfig::showHelp()
{
    const QString file = Help::ApplicationHelpFile();
    QWidget* focus = focusWidget();
    // A spin box's text field has the focus on behalf of the spin box.
    while (focus && focus != this && !focus->property(helpContextProperty).isValid())
        focus = focus->parentWidget();
    const int control = focus ? focus->property(helpContextProperty).toInt() : 0;
    if (control != 0 && Help::HtmlHelp(this, file, Help::DisplayTextPopup, control))
        return;
    Help::HtmlHelp(this, file, Help::HelpContext, helpContextId());
}
