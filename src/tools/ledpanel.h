#pragma once

#include "panelcommands.h"

#include <QGroupBox>

#include <array>

class ClickLabel;
class HornImage;
class LedLamp;
class QLineEdit;
class QTimer;

// frmPanneau, the on-screen copy of the panel: the 24 LEDs with their editable captions, the
// horn and "TEST". It holds the image that the window sends and reads back, and blinks the
// LEDs in step from its one timer tmrCligno: a tick every 250 ms advances the phase
// (0 to 4, so one cycle lasts 1.25 s) and repaints the LEDs whose decision changed.
class LedPanel : public QGroupBox
{
    Q_OBJECT

public:
    explicit LedPanel(QWidget* parent = nullptr);

    const PanelCommands::PanelImage& image() const { return m_image; }
    void setImage(const PanelCommands::PanelImage& image);
    int state(int n) const { return m_image.leds[n]; }
    void setState(int n, int state);
    int horn() const { return m_image.horn; }
    void setHorn(int state);

    QString caption(int n) const;
    void setCaption(int n, const QString& text);

    int phase() const { return m_phase; }
    // The decision shown now for LED n.
    bool lit(int n) const;

    QTimer* blinkTimer() const { return m_tmrCligno; }
    // One tick of the blink timer: the next phase, and the LEDs shown for it.
    void tmrCligno_Timer();

    LedLamp* lamp(int n) const { return m_lblPanneau[n]; }
    HornImage* hornImage() const { return m_imgKlaxon; }
    ClickLabel* testLabel() const { return m_lblTest; }
    // "TEST" looks and acts clickable only while a click on it does something.
    void setTestActive(bool active);

signals:
    void ledClicked(int n);
    void hornClicked();
    void testClicked();

private:
    // Every LED's decision for the present phase (a change of one state may change the
    // decision of the LEDs after it, see PanelCommands::LitLeds).
    void showLeds();

    PanelCommands::PanelImage m_image;
    int m_phase = 0;
    std::array<LedLamp*, PanelCommands::LedCount> m_lblPanneau{};
    std::array<QLineEdit*, PanelCommands::LedCount> m_txtPanneau{};
    HornImage* m_imgKlaxon = nullptr;
    ClickLabel* m_lblTest = nullptr;
    QTimer* m_tmrCligno = nullptr;
};
