#pragma once

#include <QLabel>
#include <QPixmap>
#include <QWidget>

#include <array>

// The small pieces of the on-screen panel. They paint themselves in device-independent pixels,
// so they stay sharp at any screen scale, and report a left click.

// One LED: a rounded lamp, red while lit and grey while not, with its number on it. The two
// colours carry the meaning and do not follow the palette.
class LedLamp : public QWidget
{
    Q_OBJECT

public:
    static constexpr QRgb LitColour = 0xFF0000;   // colour value 255: pure red
    static constexpr QRgb UnlitColour = 0x808080; // grey

    LedLamp(int number, QWidget* parent = nullptr);

    bool lit() const { return m_lit; }
    // Repaints only when the decision changes.
    void setLit(bool lit);

    QSize sizeHint() const override;

signals:
    void clicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    // The lamp drawn at the widget's size and the screen's pixel ratio.
    QPixmap face(bool lit) const;

    int m_number;
    bool m_lit = false;
    // Unlit and lit faces, drawn once: a blink tick only copies them. Dropped when the size,
    // the palette, the font or the enabled state change.
    mutable std::array<QPixmap, 2> m_faces;
};

// The horn: the picture "KlaxonOn" while its state is not 0, "KlaxonOff" otherwise. Both are
// drawn in the palette's colours, so that they keep their contrast on a dark palette: the
// horn in the window's text colour, crossed out while silent; sounding, its bell takes the
// highlight colour and sound waves come out of it.
class HornImage : public QWidget
{
    Q_OBJECT

public:
    explicit HornImage(QWidget* parent = nullptr);

    bool on() const { return m_on; }
    void setOn(bool on);

    QSize sizeHint() const override;

signals:
    void clicked();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    bool m_on = false;
};

// A caption that can be clicked (lblTest).
class ClickLabel : public QLabel
{
    Q_OBJECT

public:
    using QLabel::QLabel;

signals:
    void clicked();

protected:
    void mouseReleaseEvent(QMouseEvent* event) override;
};
