#pragma once

#include "childwindow.h"

#include <QPointer>

#include <array>

class ComCtrl;
class QComboBox;
class QLineEdit;
class QPushButton;
class QSpinBox;
class ZrbGrid;

// The frame builder: one request composed field by field (slave, function, address, count,
// data), shown as bytes, sent to the line as it stands in its text, and the answer shown as
// text and, for reads, laid out in the data grid.
class wPanelFrame : public ChildWindow
{
    Q_OBJECT

public:
    // Request and answer text boxes, and the two buttons, by index.
    enum FrameIndex { Request = 0, Answer = 1 };
    enum CommandIndex { Compute = 0, Send = 1 };

    wPanelFrame(ComCtrl& port, QWidget* parent = nullptr);
    ~wPanelFrame() override;

    void nationality() override;

    // Answers shorter than expected are waited for this long, in seconds.
    static constexpr float AnswerTimeout = 1.0F;

private:
    void buildControls();
    void connectControls();

    void cmdFrameData_Click(int index);
    void FrameCompute();
    void FrameSend();
    void cboFrameType_Click();
    void focusChanged(QWidget* previous, QWidget* now);
    // The leave checks; false when the box's value may not be left.
    bool addressAcceptable() const;
    bool countAcceptable() const;
    // Resizes the grid to count + 1 rows; false (and nothing changed) for a refused count.
    bool txtFrameNbData_Validate();
    // Refuses the box (Refusal, with the text reasonId), then gives it the focus back with its
    // text selected. Deferred when called while the focus is moving.
    void refuse(QLineEdit* box, int reasonId, bool deferred = false);
    // Refuses the field that an error code of FrameToSend points at (0: none).
    void refuseFrame(int errorCode);
    // The leave checks again before a command runs; false when one refuses.
    bool fieldsAcceptable();
    int functionCode() const;
    void setBitEntry(bool bits);
    // The answer box: the bytes that came back with what they mean, in the current language.
    void showAnswer();

    ComCtrl& m_port;
    QSpinBox* m_updFrameSlave = nullptr;
    QLineEdit* m_txtFrameSlave = nullptr;
    QComboBox* m_cboFrameType = nullptr;
    QLineEdit* m_txtFrameAddress = nullptr;
    QLineEdit* m_txtFrameNbData = nullptr;
    ZrbGrid* m_grdFrameData = nullptr;
    std::array<QPushButton*, 2> m_cmdFrameData{};
    std::array<QLineEdit*, 2> m_txtFrameData{};
    // A refused box whose focus is on its way back.
    QPointer<QLineEdit> m_refocusing;
    QByteArray m_answer; // the last answer shown, kept so that a language change re-words it
};
