#pragma once

// What the configuration window's tests share: a stand-in for the user in the modal windows,
// and the line, the controls and the messages summed up as short texts.

#include "shelltestkit.h"
#include "waskslave.h"
#include "wpanelconfig.h"
#include "wsearchslave.h"

#include <QCheckBox>
#include <QLineEdit>
#include <QRegularExpression>
#include <QSpinBox>

// Plays the user through the modal windows of an action: the slave dialog gets the slave typed
// and the search box set (or is cancelled), a found panel is confirmed, and every message box
// is recorded and closed.
struct User
{
    QString slave = QStringLiteral("1");
    bool autoSearch = false;
    bool cancel = false;
    int asked = 0;
    QStringList messages;
    QTimer timer;

    User()
    {
        QObject::connect(&timer, &QTimer::timeout, &timer, [this] { answer(); });
        timer.start(10);
    }
    void answer()
    {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal || !modal->isVisible())
            return;
        if (auto* ask = qobject_cast<wAskSlave*>(modal)) {
            ++asked;
            ask->slaveBox()->setText(slave);
            ask->autoSearchBox()->setChecked(autoSearch);
            ask->button(cancel ? wAskSlave::Cancel : wAskSlave::Ok)->click();
        } else if (auto* search = qobject_cast<wSearchSlave*>(modal)) {
            if (search->okButton()->isEnabled())
                search->okButton()->click();
        } else if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            messages << box->text();
            box->accept();
        }
    }
};

// A message as the window shows it: "10121:2.8" is text 10121 with its insert.
inline QStringList texts(const QStringList& messages)
{
    QStringList shown;
    for (const QString& message : messages) {
        QString text = DataFunctions7310::GetText(message.section(':', 0, 0).toInt());
        const QString insert = message.section(':', 1);
        text.replace("$.$", insert).replace("$$", insert);
        shown << text.replace('|', '\n');
    }
    return shown;
}

// Each frame the panel heard, or could not hear at the line's settings:
// "<baud>/<stop> <slave>:R<address>x<count>", "...:W<address>=<value>", "... probe",
// "ignored ..." for a frame at other settings than the panel's.
inline QStringList words(const SimProcess& sim)
{
    QStringList summary;
    for (const QString& frame : sim.heardFrames()) {
        const QStringList bytes = frame.section(' ', 2).split(' ');
        const auto at = [&bytes](int i) {
            return bytes.value(i).toInt(nullptr, 16);
        };
        QString what = QStringLiteral("%1:").arg(at(0));
        if (bytes.size() == 3)
            what = "probe";
        else if (at(1) == 3)
            what += QStringLiteral("R%1x%2").arg(at(2) * 256 + at(3)).arg(at(4) * 256 + at(5));
        else
            what +=
                QStringLiteral("W%1=%2").arg(at(2) * 256 + at(3)).arg(qint16(at(4) * 256 + at(5)));
        summary << (frame.startsWith("IGNORED") ? "ignored " : "") + frame.section(' ', 1, 1) +
                       ' ' + what;
    }
    return summary;
}

// The controls by index (-1: nothing selected) and the version label.
inline QString shown(const wPanelConfig& window)
{
    QStringList values;
    for (const int value : window.values())
        values << QString::number(value);
    return values.join(' ') + " v" + window.findChild<QLabel*>("lblVersionK7310")->text();
}

inline void setValues(wPanelConfig& window, const QString& values)
{
    const QStringList each = values.split(' ');
    for (int i = 0; i < each.size(); ++i) {
        if (i == ConfigMap::Slave)
            qobject_cast<QSpinBox*>(window.control(i))->setValue(each[i].toInt());
        else
            qobject_cast<QComboBox*>(window.control(i))->setCurrentIndex(each[i].toInt());
    }
}

// The settings the write stores, "-" when absent.
inline QString stored()
{
    QStringList values;
    for (const char* key : {"Bauds", "Stops", "LastSlave"})
        values << ZRBfonctions::GetIniParam("Communication", key, "-");
    return values.join(' ');
}

// A panel with every word off its factory value: 19200 baud, 2 stop bits, slave 7.
inline const QString panelState = "128=255\n129=2\n130=7\n131=2\n65=1\n67=0\n69=1\n70=1\n";
