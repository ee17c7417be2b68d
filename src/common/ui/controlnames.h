#pragma once

#include "nationality.h"

#include <QLabel>
#include <QString>

// Gives a new control its name (objectName) and, when it has one, its text ID.
template<typename Control> Control* Named(Control* control, const QString& name, int textId = 0)
{
    control->setObjectName(name);
    if (textId != 0)
        Tags::Set(control, textId);
    return control;
}

// A label captioned from the text database, naming the control that it describes.
inline QLabel* Caption(QWidget* parent, const QString& name, int textId, QWidget* buddy = nullptr)
{
    auto* caption = Named(new QLabel(parent), name, textId);
    caption->setBuddy(buddy);
    return caption;
}
