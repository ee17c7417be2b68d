// Cost of GetText through the kept statements: 1,000 look-ups of existing IDs, repeated, in the
// default language and in a named one, plus a missing ID and a tooltip for comparison.
//
//   bench_gettext [data file]    (default: the data file of the build's run-time folder)

#include "datafunctions7310.h"
#include "errorhandling.h"
#include "textids.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int LookupsPerRound = 1000;
constexpr int Rounds = 50;

// Best round of 1,000 look-ups, in microseconds per look-up.
template<typename Lookup> double bestMicroseconds(Lookup&& lookup, qsizetype& checksum)
{
    double best = 1e9;
    for (int round = 0; round < Rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < LookupsPerRound; ++i)
            checksum += lookup(i).size();
        best = std::min(best, double(timer.nsecsElapsed()) / 1000.0 / LookupsPerRound);
    }
    return best;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QString path = argc > 1 ? QString::fromLocal8Bit(argv[1])
                                  : QStringLiteral(K7310_BIN_DIR "/k7310console.dat");
    QString detail;
    if (const int error = DataFunctions7310::OpenDataFile(path, &detail); error != 0) {
        std::fprintf(stderr, "%s\n", qPrintable(ErrorReport::Message("bench", error, detail)));
        return 1;
    }

    // A mix of IDs as a window's caption refresh asks for them.
    const std::vector<int> ids = {
        TextId::Ok,         TextId::Cancel,       TextId::ConfigTitle,
        TextId::ParamSpeed, TextId::ParamStops,   TextId::FrameSlave,
        TextId::ToolsStart, TextId::NoAnswer,     TextId::ExceptionBase + 3,
        TextId::CrcGroup,   TextId::MarginValues, TextId::SearchFound};
    qsizetype checksum = 0;
    const auto text = [&](int i) {
        return DataFunctions7310::GetText(ids[i % ids.size()]);
    };

    std::printf("GetText, %d look-ups per round, best of %d rounds\n", LookupsPerRound, Rounds);
    const double defaultColumn = bestMicroseconds(text, checksum);
    std::printf("  default language column: %.3f us per look-up, %.4f ms per 100\n", defaultColumn,
                defaultColumn * 100 / 1000);
    DataFunctions7310::SetCurrentLanguage(QStringLiteral("Français"));
    const double named = bestMicroseconds(text, checksum);
    std::printf("  named column (Français): %.3f us per look-up, %.4f ms per 100\n", named,
                named * 100 / 1000);
    const double missing = bestMicroseconds(
        [](int i) { return DataFunctions7310::GetText(QString::number(900000 + i)); }, checksum);
    std::printf("  missing ID (marker):     %.3f us per look-up\n", missing);
    const double tip = bestMicroseconds(
        [&](int i) { return DataFunctions7310::GetToolTip(ids[i % ids.size()]); }, checksum);
    std::printf("  GetToolTip:              %.3f us per look-up\n", tip);
    std::printf("target: under 0.1 ms per 100 look-ups (1 us each): %s\n",
                std::max(defaultColumn, named) < 1.0 ? "met" : "NOT met");
    std::printf("(checksum %lld)\n", static_cast<long long>(checksum));
    return 0;
}
