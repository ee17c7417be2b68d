#include "linemodetext.h"

#include "comctrl.h"
#include "datafunctions7310.h"
#include "textids.h"

namespace LineModeText {

QString Direction(Rs485Mode::Direction direction, const CommFunctions::TextLookup& text)
{
    return text(TextId::LineDirectionBase + static_cast<int>(direction));
}

QString Summary(const ComCtrl& line, const CommFunctions::TextLookup& text)
{
    const QString pattern = text(TextId::CaptionAndValue);
    QString summary = DataFunctions7310::Captioned(text(TextId::LineDirection),
                                                   Direction(line.direction(), text), pattern);
    if (const QString note = line.directionNote(); !note.isEmpty())
        summary += QStringLiteral(" (") + note + QLatin1Char(')');
    const std::optional<bool> echoes = line.echoes();
    const int found = !echoes ? 2 : *echoes ? 0 : 1;
    summary += QStringLiteral("; ") +
               DataFunctions7310::Captioned(
                   text(TextId::LineEcho),
                   text(TextId::EchoSettingBase + static_cast<int>(line.echoSetting())), pattern);
    if (line.echoSetting() == LineEcho::Setting::Automatic)
        summary += QStringLiteral(", ") + text(TextId::EchoFoundBase + found);
    return summary;
}

} // namespace LineModeText
