#include "codec/line_run_decode.h"

#include <algorithm>

#include "codec/group_kernels.h"
#include "codec/line_decode.h"

namespace mandrel {

namespace {

constexpr bool EndsLine(unsigned char c) {
    return c == '\r' || c == '\n';
}

// One line's outcome: its characters before the line end and the bytes it gave.
struct SoundLine {
    std::size_t data = 0;  // characters before the line end
    std::size_t bytes = 0;
    bool sound = false;
};

// A Base64 line of whole groups. Lines of a run are mostly of one length, so the length of the
// line before is tried first: a line end there and alphabet characters before it settle it.
SoundLine Base64Line(const DecodeTable& table, std::span<const unsigned char> line,
                     std::span<unsigned char> out, std::size_t& guess) {
    const auto fits = [&](std::size_t n) {
        return n > 0 && n % 4 == 0 && n < line.size() && EndsLine(line[n]) &&
               n / 4 * 3 <= out.size() && DecodeGroups(table, line.data(), n / 4, out.data());
    };
    std::size_t n = guess;
    if (!fits(n)) {
        n = static_cast<std::size_t>(std::find_if(line.begin(), line.end(), EndsLine) -
                                     line.begin());
        if (!fits(n)) {
            return {};
        }
        guess = n;
    }
    return {n, n / 4 * 3, true};
}

SoundLine GroupLine(const DecodeTable& table, std::span<const unsigned char> line,
                    std::span<unsigned char> out) {
    int characters = 0;
    const int length = DecodeWholeGroups(table, line, out, characters);
    if (length == kTakeExactWay) {
        return {};
    }
    // The length character and the data; DecodeWholeGroups saw the line end after them.
    return {static_cast<std::size_t>(characters) + 1, static_cast<std::size_t>(length), true};
}

// The lines after a UU or XX line of whole groups mostly have its shape: those are taken many
// at a time, exactly as the loop below would take them.
void TakeSameLines(const LineRunRules& rules, unsigned char lengthCharacter, const SoundLine& sound,
                   std::span<const unsigned char> text, std::span<unsigned char> out,
                   LineRunResult& run, int& previous) {
    const std::size_t groups = sound.bytes / 3;
    if (groups == 0 || sound.bytes % 3 != 0 || sound.data != 4 * groups + 1) {
        return;
    }
    SameLinesState state{run.consumed, run.produced, previous};
    const std::size_t lines =
        DecodeSameLines(*rules.table, SameLines{lengthCharacter, groups, kQuickReach, kQuickRoom},
                        text, out, rules.mostLines - run.lines, state);
    run.lines += static_cast<uint32_t>(lines);
    run.characters += lines * (4 * groups + 2);
    run.consumed = state.at;
    run.produced = state.produced;
    previous = state.previous;
}

}  // namespace

LineRunResult DecodeLineRun(const LineRunRules& rules, std::span<const unsigned char> text,
                            int previous, std::span<unsigned char> out) {
    LineRunResult run;
    std::size_t guess = 0;
    const bool sameLines = !rules.base64 && HasSameLinesKernel(*rules.table);
    while (run.lines < rules.mostLines) {
        // The LF of a CR LF pair is taken only with a line after it, so that the run ends
        // where a line read would have left the text.
        std::size_t start = run.consumed;
        if (previous == '\r' && start < text.size() && text[start] == '\n') {
            ++start;
        }
        run.nextLine = start;
        if (start >= text.size()) {
            run.stop = LineRunStop::Unsound;
            break;
        }
        if (rules.lookCloser != nullptr && (*rules.lookCloser)[text[start]]) {
            run.stop = LineRunStop::LookCloser;
            break;
        }
        const std::span<const unsigned char> line = text.subspan(start);
        // The quick UU and XX way writes up to kQuickRoom bytes whatever the line gives.
        if (!rules.base64 && out.size() - run.produced < kQuickRoom) {
            run.stop = LineRunStop::NoRoom;
            break;
        }
        const std::span<unsigned char> room = out.subspan(run.produced);
        const SoundLine sound = rules.base64 ? Base64Line(*rules.table, line, room, guess)
                                             : GroupLine(*rules.table, line, room);
        if (!sound.sound) {
            run.stop = LineRunStop::Unsound;
            break;
        }
        const std::size_t end = start + sound.data + 1;  // the line end included
        previous = text[end - 1];
        run.consumed = end;
        run.produced += sound.bytes;
        run.characters += sound.data + 1;
        ++run.lines;
        run.stop = LineRunStop::Enough;
        if (sameLines) {
            TakeSameLines(rules, text[start], sound, text, out, run, previous);
        }
    }
    return run;
}

}  // namespace mandrel
