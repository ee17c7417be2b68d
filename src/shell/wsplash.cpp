#include "wsplash.h"

#include "datafunctions7310.h"
#include "nationality.h"
#include "textids.h"
#include "uihelpers.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSvgRenderer>
#include <QTimer>

namespace {

int& closeInterval()
{
    static int milliseconds = 5000;
    return milliseconds;
}

// The version numbers of this build, from the project's version "major.minor.revision".
void buildVersion(int* major, int* minor, int* revision)
{
    const QStringList parts = QStringLiteral(K7310_VERSION).split(QLatin1Char('.'));
    *major = parts.value(0).toInt();
    *minor = parts.value(1).toInt();
    *revision = parts.value(2).toInt();
}

QPixmap splashPicture(qreal ratio)
{
    QSvgRenderer renderer(QStringLiteral(":/shell/images/splash.svg"));
    const QSize size = renderer.defaultSize();
    QPixmap picture(size * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(size)));
    return picture;
}

} // namespace

void wSplash::SetCloseInterval(int milliseconds)
{
    closeInterval() = milliseconds;
}

int wSplash::CloseInterval()
{
    return closeInterval();
}

wSplash::wSplash(QWidget* parent)
    : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint)
    , m_imgSplash(new QLabel(this))
    , m_cmdAbout(new QPushButton(this))
    , m_tmrClose(new QTimer(this))
{
    setObjectName(QStringLiteral("wSplash"));
    Tags::Set(this, TextId::AboutTitle);
    setWindowTitle(DataFunctions7310::GetText(TextId::AboutTitle));

    m_imgSplash->setObjectName(QStringLiteral("imgSplash"));
    m_imgSplash->setPixmap(splashPicture(devicePixelRatioF()));
    m_imgSplash->adjustSize();
    m_imgSplash->installEventFilter(this);
    // The window fits the picture.
    setFixedSize(m_imgSplash->size());

    // Each pair is drawn twice, the shadow first, so the line stays legible on the picture.
    const QString shadow = QStringLiteral("color: #0d1e2e; font-weight: bold;");
    const QString face = QStringLiteral("color: #ffffff; font-weight: bold;");
    for (int i = 0; i < 4; ++i) {
        m_lblVersion[i] = new QLabel(this);
        m_lblVersion[i]->setObjectName(QStringLiteral("lblVersion_%1").arg(i));
        m_lblVersion[i]->setStyleSheet(i % 2 ? shadow : face);
    }
    for (int i = 0; i < 2; ++i) {
        m_lblRelease[i] = new QLabel(this);
        m_lblRelease[i]->setObjectName(QStringLiteral("lblRelease_%1").arg(i));
        m_lblRelease[i]->setStyleSheet(i ? shadow : face);
    }
    m_lblRelease[1]->lower();
    m_lblVersion[1]->lower();
    m_lblVersion[3]->lower();
    m_imgSplash->lower();

    m_cmdAbout->setObjectName(QStringLiteral("cmdAbout"));
    Tags::Set(m_cmdAbout, TextId::AboutAddresses);
    m_cmdAbout->setText(DataFunctions7310::GetText(TextId::AboutAddresses));
    m_cmdAbout->adjustSize();
    m_cmdAbout->move(width() - m_cmdAbout->width() - 16, height() - m_cmdAbout->height() - 14);
    m_cmdAbout->setVisible(false);
    connect(m_cmdAbout, &QPushButton::clicked, this, &wSplash::cmdAbout_Click);

    int major = 0;
    int minor = 0;
    int revision = 0;
    buildVersion(&major, &minor, &revision);
    setVersion(major, minor, revision);

    m_tmrClose->setObjectName(QStringLiteral("tmrClose"));
    m_tmrClose->setSingleShot(true);
    m_tmrClose->setInterval(closeInterval());
    m_tmrClose->start();
}

bool wSplash::closeTimerRunning() const
{
    return m_tmrClose->isActive();
}

void wSplash::setAboutMode(bool about)
{
    m_cmdAbout->setVisible(about);
}

void wSplash::setVersion(int major, int minor, int revision)
{
    const QString version = DataFunctions7310::GetText(TextId::SplashVersion) +
                            QStringLiteral("%1.%2.").arg(major).arg(minor);
    for (int i : {0, 1})
        m_lblVersion[i]->setText(version);
    for (int i : {2, 3})
        m_lblVersion[i]->setText(QString::number(revision));
    // The release number once more under its own name, as the help describes it.
    const QString release = DataFunctions7310::GetText(TextId::SplashRelease) + QLatin1Char(' ') +
                            QString::number(revision);
    for (QLabel* label : m_lblRelease)
        label->setText(release);
    placeVersionLabels();
}

QString wSplash::versionText() const
{
    return m_lblVersion[0]->text() + m_lblVersion[2]->text();
}

void wSplash::placeVersionLabels()
{
    const QPoint origin(24, height() - 44);
    for (int i = 0; i < 4; ++i)
        m_lblVersion[i]->adjustSize();
    for (int i = 0; i < 2; ++i) {
        m_lblRelease[i]->adjustSize();
        m_lblRelease[i]->move(origin + QPoint(i, m_lblVersion[0]->height() + 2 + i));
    }
    m_lblVersion[0]->move(origin);
    m_lblVersion[1]->move(origin + QPoint(1, 1));
    // The release number follows the version text without a gap, on both layers.
    m_lblVersion[2]->move(m_lblVersion[0]->x() + m_lblVersion[0]->width(), m_lblVersion[0]->y());
    m_lblVersion[3]->move(m_lblVersion[1]->x() + m_lblVersion[1]->width(), m_lblVersion[1]->y());
}

void wSplash::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape) {
        if (!closeTimerRunning())
            hide();
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}

bool wSplash::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_imgSplash && event->type() == QEvent::MouseButtonRelease) {
        imgSplash_Click();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

void wSplash::imgSplash_Click()
{
    if (!closeTimerRunning())
        hide();
}

void wSplash::cmdAbout_Click()
{
    // Each address under the name of its role: who makes the panel, who wrote the console.
    const QString addresses = DataFunctions7310::GetText(TextId::AboutMakerLabel)
                                  .arg(DataFunctions7310::GetText(TextId::AboutMaker)) +
                              QLatin1Char('\n') +
                              DataFunctions7310::GetText(TextId::AboutSoftwareLabel)
                                  .arg(DataFunctions7310::GetText(TextId::AboutSoftware));
    QMessageBox::information(this, ConsoleTitle(), addresses);
}

void wSplash::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    // Centred on the main frame (or the screen when there is none), and on the screen whole.
    const QWidget* owner = parentWidget() ? parentWidget()->window() : nullptr;
    const QScreen* screen = owner ? owner->screen() : this->screen();
    QRect placed(QPoint(), size());
    placed.moveCenter(owner && owner->isVisible() ? owner->geometry().center()
                                                  : screen->availableGeometry().center());
    move(KeptInside(placed, screen->availableGeometry()).topLeft());
}
