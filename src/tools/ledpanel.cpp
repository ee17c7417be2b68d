#include "ledpanel.h"

#include "controlnames.h"
#include "panelwidgets.h"
#include "textids.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QTimer>

using namespace PanelCommands;

namespace {

constexpr int ledsPerColumn = 8;
constexpr int captionLength = 40;

} // namespace

LedPanel::LedPanel(QWidget* parent)
    : QGroupBox(parent)
    , m_imgKlaxon(new HornImage(this))
    , m_lblTest(Named(new ClickLabel(this), QStringLiteral("lblTest"), TextId::ToolsTest))
    , m_tmrCligno(new QTimer(this))
{
    setObjectName(QStringLiteral("frmPanneau"));
    Tags::Set(this, TextId::ToolsPanelGroup);

    auto* leds = new QGridLayout;
    leds->setHorizontalSpacing(6);
    for (int n = 0; n < LedCount; ++n) {
        m_lblPanneau[n] = new LedLamp(n, this);
        m_txtPanneau[n] = Named(new QLineEdit(this), QStringLiteral("txtPanneau_%1").arg(n));
        m_txtPanneau[n]->setMaxLength(captionLength);
        m_txtPanneau[n]->setMinimumWidth(90);
        const int row = n % ledsPerColumn;
        const int column = 2 * (n / ledsPerColumn);
        leds->addWidget(m_lblPanneau[n], row, column);
        leds->addWidget(m_txtPanneau[n], row, column + 1);
        const int number = n;
        connect(m_lblPanneau[n], &LedLamp::clicked, this,
                [this, number] { emit ledClicked(number); });
    }
    for (int column = 1; column < 6; column += 2)
        leds->setColumnStretch(column, 1);

    Tags::Set(m_imgKlaxon, TextId::ToolsHorn);
    QFont bold = m_lblTest->font();
    bold.setBold(true);
    m_lblTest->setFont(bold);
    m_lblTest->setFrameShape(QFrame::Box);
    m_lblTest->setAlignment(Qt::AlignCenter);
    m_lblTest->setMargin(6);
    m_lblTest->setMinimumWidth(64);
    m_lblTest->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(m_imgKlaxon, &HornImage::clicked, this, &LedPanel::hornClicked);
    connect(m_lblTest, &ClickLabel::clicked, this, &LedPanel::testClicked);

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_imgKlaxon);
    bottom->addStretch(1);
    bottom->addWidget(m_lblTest, 0, Qt::AlignVCenter);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(leds);
    layout->addLayout(bottom);

    m_tmrCligno->setObjectName(QStringLiteral("tmrCligno"));
    m_tmrCligno->setInterval(BlinkIntervalMs);
    connect(m_tmrCligno, &QTimer::timeout, this, &LedPanel::tmrCligno_Timer);
    m_tmrCligno->start();
    showLeds();
}

void LedPanel::setImage(const PanelImage& image)
{
    m_image = image;
    m_imgKlaxon->setOn(image.horn != 0);
    showLeds();
}

void LedPanel::setState(int n, int state)
{
    m_image.leds[n] = state;
    showLeds();
}

void LedPanel::setHorn(int state)
{
    m_image.horn = state;
    m_imgKlaxon->setOn(state != 0);
}

QString LedPanel::caption(int n) const
{
    return m_txtPanneau[n]->text();
}

void LedPanel::setCaption(int n, const QString& text)
{
    m_txtPanneau[n]->setText(text);
    m_txtPanneau[n]->setCursorPosition(0);
}

void LedPanel::setTestActive(bool active)
{
    m_lblTest->setEnabled(active);
    if (active)
        m_lblTest->setCursor(Qt::PointingHandCursor);
    else
        m_lblTest->unsetCursor();
}

bool LedPanel::lit(int n) const
{
    return m_lblPanneau[n]->lit();
}

void LedPanel::tmrCligno_Timer()
{
    m_phase = (m_phase + 1) % BlinkPhases;
    showLeds();
}

void LedPanel::showLeds()
{
    const std::array<bool, LedCount> decisions = LitLeds(m_image.leds, m_phase);
    for (int n = 0; n < LedCount; ++n)
        m_lblPanneau[n]->setLit(decisions[n]);
}
