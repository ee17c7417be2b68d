#include "configmap.h"

#include "datafunctions7310.h"
#include "textids.h"

#include <algorithm>

namespace ConfigMap {

const std::array<Parameter, 8>& Parameters()
{
    static const std::array<Parameter, 8> parameters = {{
        {128, Speed, Coding::SpeedCode, TextId::ParamSpeed, 0, 5},
        {129, Stops, Coding::StopBits, TextId::ParamStops, 0, 2},
        {130, Slave, Coding::Number, TextId::ParamSlave, 0, 0},
        {131, BusMode, Coding::Position, TextId::ParamBusMode, TextId::BusModeFirst, 4},
        {65, Synchro, Coding::Position, TextId::ParamSynchro, TextId::SynchroFirst, 2},
        {67, Ack, Coding::Position, TextId::ParamAck, TextId::No, 2},
        {70, LedTestKL, Coding::Position, TextId::ParamLedTestKL, TextId::No, 2},
        {69, BusKL, Coding::Position, TextId::ParamBusKL, TextId::No, 2},
    }};
    return parameters;
}

const Parameter& ParameterAt(int index)
{
    const auto& all = Parameters();
    return *std::find_if(all.begin(), all.end(),
                         [index](const Parameter& p) { return p.index == index; });
}

const QStringList& SpeedItems()
{
    static const QStringList items{"1200", "2400", "4800", "9600", "19200"};
    return items;
}

const QStringList& StopItems()
{
    static const QStringList items{"1", "2"};
    return items;
}

const std::array<std::int16_t, 5>& SpeedCodes()
{
    static const std::array<std::int16_t, 5> codes{0xF0, 0xF8, 0xFC, 0xFE, 0xFF};
    return codes;
}

int ValueOfWord(const Parameter& parameter, std::int16_t word)
{
    int position = word;
    switch (parameter.coding) {
    case Coding::Number:
        return word;
    case Coding::SpeedCode: {
        const auto& codes = SpeedCodes();
        const auto* found = std::find(codes.begin(), codes.end(), word);
        return found == codes.end() ? NoValue : static_cast<int>(found - codes.begin());
    }
    case Coding::StopBits:
        position = word - 1;
        break;
    case Coding::Position:
        break;
    }
    return position >= 0 && position < parameter.itemCount ? position : NoValue;
}

std::int16_t WordOfValue(const Parameter& parameter, int value)
{
    switch (parameter.coding) {
    case Coding::SpeedCode:
        return SpeedCodes().at(static_cast<std::size_t>(value));
    case Coding::StopBits:
        return static_cast<std::int16_t>(value + 1);
    case Coding::Number:
    case Coding::Position:
        break;
    }
    return static_cast<std::int16_t>(value);
}

bool Acceptable(const Parameter& parameter, int value)
{
    if (parameter.coding == Coding::Number)
        return value >= FirstSlave && value <= LastSlave;
    return value >= 0 && value < parameter.itemCount;
}

bool VersionServes(int versionCode, const Parameter& parameter)
{
    if (parameter.address == 70)
        return versionCode >= Version28;
    if (parameter.address == 69)
        return versionCode >= Version27;
    return true;
}

QString VersionText(int versionCode)
{
    return QStringLiteral("%1.%2").arg((versionCode >> 8) & 0xFF).arg(versionCode & 0xFF);
}

int VersionCodeOf(const QString& text)
{
    for (const int code : {Version28, Version27, Version26}) {
        if (text == VersionText(code))
            return code;
    }
    return 0;
}

QString ValueText(int index, int value)
{
    if (value == NoValue)
        return QString();
    const Parameter& parameter = ParameterAt(index);
    const QStringList* items = nullptr;
    switch (parameter.coding) {
    case Coding::SpeedCode:
        items = &SpeedItems();
        break;
    case Coding::StopBits:
        items = &StopItems();
        break;
    case Coding::Number:
        return QString::number(value);
    case Coding::Position:
        if (value >= 0 && value < parameter.itemCount)
            return DataFunctions7310::GetText(parameter.firstItemId + value);
        return QString::number(value);
    }
    return value >= 0 && value < items->size() ? items->at(value) : QString::number(value);
}

} // namespace ConfigMap
