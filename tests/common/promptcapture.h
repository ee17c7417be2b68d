#pragma once

#include "prompthook.h"
#include "refusal.h"

#include <QImage>
#include <QStringList>
#include <QWidget>

// Collects what the windows hand to the status bar, for as long as it lives.
class PromptCapture
{
public:
    PromptCapture()
        : m_previous(PromptHook::Set([this](const QString& text) { texts.append(text); }))
        , m_previousConfirm(
              PromptHook::SetConfirm([this](const QString& text) { confirmations.append(text); }))
    {}
    ~PromptCapture()
    {
        PromptHook::Set(m_previous);
        PromptHook::SetConfirm(m_previousConfirm);
    }
    QStringList texts;         // passing texts: refusals, notes
    QStringList confirmations; // finished actions

private:
    PromptHook::Handler m_previous;
    PromptHook::Handler m_previousConfirm;
};

// True while field shows a refusal: its cue is up and its left edge is painted red.
inline bool FramedRed(QWidget* field)
{
    if (!Refusal::IsCued(field))
        return false;
    const QImage image = field->grab().toImage();
    const QColor edge = image.pixelColor(qRound(image.devicePixelRatio()), image.height() / 2);
    return edge.red() > 150 && edge.green() < 120 && edge.blue() < 120;
}
