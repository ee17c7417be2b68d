#pragma once

#include "exchangelog.h"

#include <QDockWidget>

class ComCtrl;
class ExchangeModel;
class QPushButton;
class QTableView;

// The line monitor: a dock of the main frame that lists every exchange on the line (time, time
// since the previous one, the window that asked, request, answer, meaning), faults in the
// palette's link colour and bold. It keeps the last ExchangeLog::DefaultCapacity exchanges and
// can pause, clear and export them (CSV or plain text). It observes the line while it exists,
// shown or not: the main frame makes it at start-up, so the list holds every exchange of the run.
class LineMonitor : public QDockWidget
{
    Q_OBJECT

public:
    explicit LineMonitor(ComCtrl& line, QWidget* parent = nullptr);
    ~LineMonitor() override;

    Q_INVOKABLE void nationality();
    const ExchangeLog& log() const;
    QTableView* view() const { return m_view; }
    QPushButton* pauseButton() const { return m_pause; }
    // Writes the log to path: CSV when it ends in ".csv", plain text otherwise. False (after
    // a message naming the reason) when it could not be written.
    bool exportTo(const QString& path);

private:
    void exportClicked();
    // Widens the columns to their headings and texts in the current language.
    void fitColumns();

    ComCtrl& m_line;
    int m_observer = 0;
    ExchangeModel* m_model;
    QTableView* m_view;
    QPushButton* m_pause;
    QPushButton* m_clear;
    QPushButton* m_export;
};
