#include "portlist.h"

#include "adapterinfo.h"

#include <QComboBox>
#include <QCompleter>
#include <QSerialPortInfo>

QStringList PortChoices()
{
    QStringList choices;
    for (int number = 1; number <= 16; ++number)
        choices.append(QString::number(number));
    const auto ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& port : ports) {
        const QString location = port.systemLocation();
        // The numbered ports are offered as 1..16 already.
        if (location.startsWith(QLatin1String("/dev/ttyS")))
            continue;
        // A by-id link names an adapter the same way after re-plugging and reboots, where
        // ttyUSB0 may become ttyUSB1: a device chosen from the list is stored by it.
        const QString name = AdapterInfo::StableName(location);
        if (!choices.contains(name))
            choices.append(name);
    }
    return choices;
}

QString SoleDevice(const QStringList& choices)
{
    constexpr qsizetype numberedPorts = 16;
    return choices.size() == numberedPorts + 1 ? choices.last() : QString();
}

void FillPortList(QComboBox* list, const QString& current)
{
    if (!list)
        return;
    list->clear();
    list->setEditable(true);
    // A typed name is the user's choice as it stands; it is not added to the entries.
    list->setInsertPolicy(QComboBox::NoInsert);
    // Device names are case-sensitive: completion must not turn "ttyusb0" into "ttyUSB0".
    if (QCompleter* completer = list->completer())
        completer->setCaseSensitivity(Qt::CaseSensitive);
    list->addItems(PortChoices());
    const QString name = current.trimmed().isEmpty() ? QStringLiteral("1") : current.trimmed();
    int index = list->findText(name, Qt::MatchFixedString | Qt::MatchCaseSensitive);
    if (index < 0) {
        list->addItem(name);
        index = list->count() - 1;
    }
    list->setCurrentIndex(index);
}

QString PortListText(const QComboBox* list)
{
    return list ? list->currentText().trimmed() : QString();
}
