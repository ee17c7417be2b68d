#pragma once

#include "configmap.h"

#include <QSpinBox>

#include <algorithm>

// The slave number's text box and its up-down button in one control. The text shows any
// 16-bit word that a panel answers with (so a wrong number read back is seen as it is); the
// arrows and the arrow keys step within the slave numbers 1..64 only.
class SlaveSpinBox : public QSpinBox
{
    Q_OBJECT

public:
    explicit SlaveSpinBox(QWidget* parent = nullptr)
        : QSpinBox(parent)
    {
        setRange(INT16_MIN, INT16_MAX);
        setAlignment(Qt::AlignRight);
    }

    void stepBy(int steps) override
    {
        setValue(std::clamp(value() + steps, ConfigMap::FirstSlave, ConfigMap::LastSlave));
    }

protected:
    StepEnabled stepEnabled() const override
    {
        StepEnabled enabled = StepNone;
        if (value() < ConfigMap::LastSlave)
            enabled |= StepUpEnabled;
        if (value() > ConfigMap::FirstSlave)
            enabled |= StepDownEnabled;
        return enabled;
    }
};
