// Whatever the console program writes must come back byte for byte from the decoders people
// already have: sharutils' uudecode, uudeview, and /bin/sh running a shell-archive set; and its
// "sum -r/size" lines must agree with what BSD sum prints for the same text. These tests run the
// real `mandrel` program and the real peers, each in a directory of its own, with a private HOME
// so that no settings of the person running them are read or written.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;

// ---------------------------------------------------------------------------------------------
// Inputs

// splitmix64: the same bytes on every machine, so a failure can be reproduced anywhere.
std::string PseudoRandomBytes(std::size_t size, uint64_t seed) {
    std::string bytes(size, '\0');
    uint64_t state = seed;
    for (std::size_t i = 0; i < size; i += 8) {
        state += 0x9E3779B97F4A7C15ULL;
        uint64_t z = state;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBULL;
        z ^= z >> 31U;
        for (std::size_t k = 0; k < 8 && i + k < size; ++k) {
            bytes[i + k] = static_cast<char>((z >> (8U * k)) & 0xFFU);
        }
    }
    return bytes;
}

std::string SampleText() {
    std::string text;
    for (int i = 1; i <= 120; ++i) {
        text += "Line " + std::to_string(i) +
                " of the notes:\tbegin, end, sum -r/size and \"quotes\" stay as typed.\n";
    }
    return text;
}

struct InputCase {
    const char* label;
    std::size_t size;  // of the pseudo-random bytes; ignored for the text
    bool text;
};

void PrintTo(const InputCase& input, std::ostream* os) {
    *os << input.label;
}

constexpr std::size_t kKib100 = 100 * 1024;
constexpr std::size_t kMib5 = 5 * 1024 * 1024;

// Around one line (45 bytes) the encoders change what they write; the large inputs cross the
// buffer sizes of the file layer many times over.
constexpr InputCase kInputs[] = {
    {"Empty", 0, false},    {"OneByte", 1, false},  {"Bytes44", 44, false},
    {"Bytes45", 45, false}, {"Bytes46", 46, false}, {"Kib100", kKib100, false},
    {"Mib5", kMib5, false}, {"Text", 0, true},
};

std::string InputBytes(const InputCase& input) {
    return input.text ? SampleText()
                      : PseudoRandomBytes(input.size, 0x4D616E6472656C00ULL + input.size);
}

std::string InputName(const InputCase& input) {
    return input.text ? "notes.txt" : "sample.bin";
}

constexpr int kCrLf = 175;
constexpr int kLf = 176;

const char* EolLabel(int eol) {
    return eol == kCrLf ? "CrLf" : "Lf";
}

// ---------------------------------------------------------------------------------------------
// Files and directories

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteFile(const fs::path& path, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::vector<std::string> FileNames(const fs::path& dir) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

class TempDir {
public:
    TempDir() {
        std::string pattern = (fs::temp_directory_path() / "mandrel-interop-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) {
            path_ = pattern;
        }
    }
    ~TempDir() {
        std::error_code ignored;
        if (!path_.empty()) {
            fs::remove_all(path_, ignored);
        }
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const fs::path& path() const { return path_; }
    fs::path Subdir(std::string_view name) const {
        fs::path dir = path_ / name;
        fs::create_directories(dir);
        return dir;
    }

private:
    fs::path path_;
};

// ---------------------------------------------------------------------------------------------
// Running programs

std::optional<fs::path> FindProgram(std::string_view name) {
    if (name.find('/') != std::string_view::npos) {
        return access(std::string(name).c_str(), X_OK) == 0 ? std::optional<fs::path>(name)
                                                            : std::nullopt;
    }
    const char* pathVariable = std::getenv("PATH");
    std::string_view rest = pathVariable != nullptr ? pathVariable : "/usr/bin:/bin";
    while (!rest.empty()) {
        const std::size_t colon = rest.find(':');
        const std::string_view dir = rest.substr(0, colon);
        rest = colon == std::string_view::npos ? std::string_view{} : rest.substr(colon + 1);
        if (dir.empty()) {
            continue;
        }
        fs::path candidate = fs::path(dir) / name;
        if (access(candidate.c_str(), X_OK) == 0) {
            return candidate;
        }
    }
    return std::nullopt;
}

struct RunResult {
    int exitCode = -1;   // -1 when the program could not be started or did not exit normally
    std::string output;  // standard output and standard error together
};

// The environment of this process with some variables replaced ("NAME=value" each).
std::vector<std::string> EnvironmentWith(const std::vector<std::string>& overrides) {
    std::vector<std::string> env;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        const std::string_view name = text.substr(0, text.find('='));
        const bool replaced = std::any_of(overrides.begin(), overrides.end(), [&](const auto& o) {
            return std::string_view(o).substr(0, o.find('=')) == name;
        });
        if (!replaced) {
            env.emplace_back(text);
        }
    }
    env.insert(env.end(), overrides.begin(), overrides.end());
    return env;
}

std::vector<char*> ArgvOf(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// Runs program with args in cwd, standard input from /dev/null, and waits for it.
RunResult RunProgram(const fs::path& program, const std::vector<std::string>& args,
                     const fs::path& cwd, const std::vector<std::string>& envOverrides = {}) {
    RunResult result;
    std::unique_ptr<FILE, int (*)(FILE*)> capture(std::tmpfile(), &std::fclose);
    if (!capture) {
        result.output = "cannot make a capture file";
        return result;
    }
    std::vector<std::string> argvTexts{program.string()};
    argvTexts.insert(argvTexts.end(), args.begin(), args.end());
    std::vector<std::string> envTexts = EnvironmentWith(envOverrides);
    std::vector<char*> argv = ArgvOf(argvTexts);
    std::vector<char*> envp = ArgvOf(envTexts);
    const int captureFd = fileno(capture.get());

    const pid_t pid = fork();
    if (pid == 0) {
        const int devNull = open("/dev/null", O_RDONLY);
        if (devNull < 0 || dup2(devNull, 0) < 0 || dup2(captureFd, 1) < 0 ||
            dup2(captureFd, 2) < 0 || chdir(cwd.c_str()) != 0) {
            _exit(126);
        }
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    if (pid < 0) {
        result.output = "fork failed";
        return result;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
    }
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::rewind(capture.get());
    char buffer[4096];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, capture.get())) > 0) {
        result.output.append(buffer, got);
    }
    return result;
}

// ---------------------------------------------------------------------------------------------
// Encoded text

// The lines of a text without their line ends (LF, or CR LF); a last line without a line end
// is kept.
std::vector<std::string> SplitLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t lf = text.find('\n');
        std::string_view line = text.substr(0, lf);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        lines.emplace_back(line);
        text = lf == std::string_view::npos ? std::string_view{} : text.substr(lf + 1);
    }
    return lines;
}

std::string JoinWithLf(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) {
        text += line;
        text += '\n';
    }
    return text;
}

bool StartsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}
bool EndsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// A "sum -r/size S/N ..." line, read back.
struct SumLine {
    unsigned long sum = 0;
    unsigned long size = 0;
    std::string rest;  // after the numbers and one blank
};

std::optional<SumLine> ParseSumLine(std::string_view line) {
    constexpr std::string_view kPrefix = "sum -r/size ";
    if (!StartsWith(line, kPrefix)) {
        return std::nullopt;
    }
    SumLine parsed;
    const char* p = line.data() + kPrefix.size();
    const char* end = line.data() + line.size();
    auto [afterSum, sumError] = std::from_chars(p, end, parsed.sum);
    if (sumError != std::errc{} || afterSum == end || *afterSum != '/') {
        return std::nullopt;
    }
    auto [afterSize, sizeError] = std::from_chars(afterSum + 1, end, parsed.size);
    if (sizeError != std::errc{} || afterSize == end || *afterSize != ' ') {
        return std::nullopt;
    }
    parsed.rest.assign(afterSize + 1, end);
    return parsed;
}

// ---------------------------------------------------------------------------------------------
// The fixture: a private home, the program under test and the peers.

class InteropTest : public ::testing::Test {
protected:
    // Peers a test needs; a missing one skips the test (CI installs them all).
    void RequirePeers(std::initializer_list<std::string_view> names) {
        for (const auto name : names) {
            auto found = FindProgram(name);
            if (!found) {
                missingPeer_ = std::string(name);
                return;
            }
            peers_.emplace_back(std::string(name), *found);
        }
    }

    void SetUp() override {
        ASSERT_FALSE(dir_.path().empty()) << "cannot make a temporary directory";
        home_ = dir_.Subdir("home");
        fs::create_directories(home_ / ".config");
    }

    const fs::path& Peer(std::string_view name) const {
        for (const auto& [peerName, path] : peers_) {
            if (peerName == name) {
                return path;
            }
        }
        static const fs::path kNone;
        return kNone;
    }

    // Encodes input with `mandrel [settings] --quiet -N <method> input` in the input's directory.
    RunResult Mandrel(const std::vector<std::string>& settings, std::string_view methodSwitch,
                      const fs::path& input) const {
        std::vector<std::string> args = settings;
        args.emplace_back("--quiet");
        args.emplace_back("-N");
        args.emplace_back(methodSwitch);
        args.push_back(input.string());
        return RunProgram(
            MANDREL_CONSOLE_PATH, args, input.parent_path(),
            {"HOME=" + home_.string(), "XDG_CONFIG_HOME=" + (home_ / ".config").string()});
    }

    // The first field of `sum -r file` (BSD sum), which prints it with leading zeros.
    std::optional<unsigned long> BsdSum(const fs::path& file) const {
        const RunResult run = RunProgram(Peer("sum"), {"-r", file.string()}, file.parent_path());
        unsigned long value = 0;
        const char* begin = run.output.data();
        const char* end = begin + run.output.size();
        auto [after, error] = std::from_chars(begin, end, value);
        if (run.exitCode != 0 || error != std::errc{} || after == begin) {
            return std::nullopt;
        }
        return value;
    }

    // The numbered parts name1<ext>, name2<ext>, ... that a multi-part encoding left in dir;
    // stops at the first missing number.
    static std::vector<fs::path> NumberedParts(const fs::path& dir, std::string_view stem,
                                               std::string_view extension) {
        std::vector<fs::path> parts;
        for (int number = 1;; ++number) {
            fs::path part =
                dir / (std::string(stem) + std::to_string(number) + std::string(extension));
            if (!fs::exists(part)) {
                return parts;
            }
            parts.push_back(part);
        }
    }

    TempDir dir_;
    fs::path home_;
    std::string missingPeer_;
    std::vector<std::pair<std::string, fs::path>> peers_;
};

#define SKIP_WITHOUT_PEERS(...)                                                     \
    RequirePeers({__VA_ARGS__});                                                    \
    if (!missingPeer_.empty()) {                                                    \
        GTEST_SKIP() << "the peer program " << missingPeer_ << " is not installed"; \
    }

std::vector<std::size_t> InOrder(std::size_t count) {
    std::vector<std::size_t> order(count);
    for (std::size_t i = 0; i < count; ++i) {
        order[i] = i;
    }
    return order;
}

// A fixed shuffle, so that a failing order can be replayed.
std::vector<std::size_t> ShuffledOrder(std::size_t count) {
    std::vector<std::size_t> order = InOrder(count);
    uint64_t state = 0x5EEDULL;
    for (std::size_t i = count; i > 1; --i) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        std::swap(order[i - 1], order[(state >> 33U) % i]);
    }
    // The first part must not stay first, nor the last last: the order has to matter.
    for (std::size_t turn = 0;
         count > 2 && turn < count && (order.front() == 0 || order.back() == count - 1); ++turn) {
        std::rotate(order.begin(), order.begin() + 1, order.end());
    }
    return order;
}

// ---------------------------------------------------------------------------------------------
// Single File in every encoding, round trip through a peer.

using RoundTripParam = std::tuple<InputCase, int>;

std::string RoundTripName(const ::testing::TestParamInfo<RoundTripParam>& info) {
    return std::string(std::get<0>(info.param).label) + "_" + EolLabel(std::get<1>(info.param));
}

class InteropUudecode : public InteropTest, public ::testing::WithParamInterface<RoundTripParam> {};

// sharutils' uudecode takes the UU text as it is, CR LF line ends included: a user on a UNIX
// system runs it on the file straight from the other system.
TEST_P(InteropUudecode, GivesBackTheExactBytesOfUuSingleFile) {
    SKIP_WITHOUT_PEERS("uudecode");
    const auto& [input, eol] = GetParam();
    const fs::path in = dir_.Subdir("in") / InputName(input);
    const std::string bytes = InputBytes(input);
    WriteFile(in, bytes);

    const RunResult encoded = Mandrel(
        {"--encodetype=3", "--encodecrlf=" + std::to_string(eol), "--encodechecksum=0"}, "-Eu", in);
    ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
    const fs::path uue = fs::path(in).replace_extension(".uue");
    ASSERT_TRUE(fs::exists(uue));
    const std::string text = ReadFile(uue);
    ASSERT_TRUE(StartsWith(text, "begin 644 " + InputName(input) + (eol == kCrLf ? "\r\n" : "\n")))
        << text.substr(0, 80);
    EXPECT_EQ(text.find(eol == kCrLf ? "\n\n" : "\r"), std::string::npos)
        << "line ends other than the chosen ones";

    const fs::path out = dir_.Subdir("out");
    const RunResult decoded = RunProgram(Peer("uudecode"), {uue.string()}, out);
    ASSERT_EQ(decoded.exitCode, 0) << decoded.output;
    ASSERT_EQ(FileNames(out), std::vector<std::string>{InputName(input)});
    EXPECT_TRUE(ReadFile(out / InputName(input)) == bytes) << "decoded bytes differ";
}

INSTANTIATE_TEST_SUITE_P(Interop, InteropUudecode,
                         ::testing::Combine(::testing::ValuesIn(kInputs),
                                            ::testing::Values(kCrLf, kLf)),
                         RoundTripName);

struct EncodingCase {
    const char* label;
    const char* methodSwitch;
    const char* extension;
};

void PrintTo(const EncodingCase& encoding, std::ostream* os) {
    *os << encoding.label;
}

constexpr EncodingCase kXX = {"XX", "-Ex", ".xxe"};
constexpr EncodingCase kMIME = {"MIME", "-Em", ".mme"};
constexpr EncodingCase kBinHex = {"BinHex", "-Eb", ".hqx"};

// Without a "table" line, which the encoder never writes, uudeview tells XX from UU only when
// it sees at least eight full lines; shorter XX texts are checked through uudecode below.
constexpr InputCase kXXInputsForUudeview[] = {
    {"Bytes360", 360, false},
    {"Kib100", kKib100, false},
    {"Mib5", kMib5, false},
    {"Text", 0, true},
};

using UudeviewParam = std::tuple<EncodingCase, InputCase, int>;

std::vector<UudeviewParam> UudeviewCases() {
    std::vector<UudeviewParam> cases;
    for (const int eol : {kCrLf, kLf}) {
        for (const auto& input : kXXInputsForUudeview) {
            cases.emplace_back(kXX, input, eol);
        }
        for (const auto& encoding : {kMIME, kBinHex}) {
            for (const auto& input : kInputs) {
                cases.emplace_back(encoding, input, eol);
            }
        }
    }
    return cases;
}

std::string UudeviewName(const ::testing::TestParamInfo<UudeviewParam>& info) {
    return std::string(std::get<0>(info.param).label) + "_" + std::get<1>(info.param).label + "_" +
           EolLabel(std::get<2>(info.param));
}

class InteropUudeview : public InteropTest, public ::testing::WithParamInterface<UudeviewParam> {};

// uudeview finds the file's name in the begin line (XX), in the MIME part headers or in the
// BinHex header record, so the decoded file must carry the input's own name.
TEST_P(InteropUudeview, GivesBackTheExactBytesAndNameOfSingleFile) {
    SKIP_WITHOUT_PEERS("uudeview");
    const auto& [encoding, input, eol] = GetParam();
    const fs::path in = dir_.Subdir("in") / InputName(input);
    const std::string bytes = InputBytes(input);
    WriteFile(in, bytes);

    const RunResult encoded =
        Mandrel({"--encodetype=3", "--encodecrlf=" + std::to_string(eol), "--encodechecksum=0"},
                encoding.methodSwitch, in);
    ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
    const fs::path encodedFile = fs::path(in).replace_extension(encoding.extension);
    ASSERT_TRUE(fs::exists(encodedFile));

    const fs::path out = dir_.Subdir("out");
    const RunResult decoded = RunProgram(
        Peer("uudeview"), {"-i", "-o", "-q", "-p", out.string() + "/", encodedFile.string()}, out);
    ASSERT_EQ(decoded.exitCode, 0) << decoded.output;
    ASSERT_EQ(FileNames(out), std::vector<std::string>{InputName(input)}) << decoded.output;
    EXPECT_TRUE(ReadFile(out / InputName(input)) == bytes) << "decoded bytes differ";
}

INSTANTIATE_TEST_SUITE_P(Interop, InteropUudeview, ::testing::ValuesIn(UudeviewCases()),
                         UudeviewName);

// XX has the layout of UU with another alphabet: mapping every character of the XX lines to
// the UU character of the same value must give a text that uudecode turns into the input. This
// covers the short XX texts that uudeview cannot recognise.
std::string XXLineAsUU(std::string_view line) {
    constexpr std::string_view kXXAlphabet =
        "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    std::string mapped;
    for (const char c : line) {
        const std::size_t value = kXXAlphabet.find(c);
        mapped += value == std::string_view::npos
                      ? '?'
                      : static_cast<char>(value == 0 ? 0x60 : 0x20 + value);
    }
    return mapped;
}

class InteropXXThroughUudecode : public InteropTest,
                                 public ::testing::WithParamInterface<RoundTripParam> {};

TEST_P(InteropXXThroughUudecode, XXLinesReadAsUUGiveBackTheExactBytes) {
    SKIP_WITHOUT_PEERS("uudecode");
    const auto& [input, eol] = GetParam();
    const fs::path in = dir_.Subdir("in") / InputName(input);
    const std::string bytes = InputBytes(input);
    WriteFile(in, bytes);

    const RunResult encoded = Mandrel(
        {"--encodetype=3", "--encodecrlf=" + std::to_string(eol), "--encodechecksum=0"}, "-Ex", in);
    ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
    std::vector<std::string> lines = SplitLines(ReadFile(fs::path(in).replace_extension(".xxe")));
    ASSERT_GE(lines.size(), 3U);
    ASSERT_EQ(lines.front(), "begin 644 " + InputName(input));
    ASSERT_EQ(lines.back(), "end");
    ASSERT_EQ(lines[lines.size() - 2], "+") << "the zero-length line";
    for (std::size_t i = 1; i + 1 < lines.size(); ++i) {
        lines[i] = XXLineAsUU(lines[i]);
    }
    const fs::path out = dir_.Subdir("out");
    WriteFile(out / "mapped.uue", JoinWithLf(lines));
    const RunResult decoded = RunProgram(Peer("uudecode"), {"mapped.uue"}, out);
    ASSERT_EQ(decoded.exitCode, 0) << decoded.output;
    EXPECT_TRUE(ReadFile(out / InputName(input)) == bytes) << "decoded bytes differ";
}

INSTANTIATE_TEST_SUITE_P(Interop, InteropXXThroughUudecode,
                         ::testing::Combine(::testing::ValuesIn(kInputs),
                                            ::testing::Values(kCrLf, kLf)),
                         RoundTripName);

// ---------------------------------------------------------------------------------------------
// UU in several parts, reassembled by uudeview from all of them.

enum class Delivery {
    // The parts saved one after the other into one file, as from a news reader: formats whose
    // headers carry no Subject line leave uudeview nothing else to order them by.
    JoinedInOrder,
    // One file per part, handed over in part order or shuffled: uudeview orders them by the
    // part numbers of their Subject lines.
    SeparateInOrder,
    SeparateShuffled,
};

struct MultiPartCase {
    const char* label;
    int fileFormat;
    int eol;
    Delivery delivery;
};

void PrintTo(const MultiPartCase& param, std::ostream* os) {
    *os << param.label;
}

// uudeview takes the "END..." cut lines of Alt.binaries 2 and 4, X-File and UUMOVE for UU data
// (a line starting with "E" announces 37 bytes), so those formats are left out here.
constexpr MultiPartCase kMultiPartCases[] = {
    {"CompBinaries_Joined_CrLf", 4, kCrLf, Delivery::JoinedInOrder},
    {"CompBinaries_Joined_Lf", 4, kLf, Delivery::JoinedInOrder},
    {"SimTel_Joined_CrLf", 5, kCrLf, Delivery::JoinedInOrder},
    {"SimTel_Joined_Lf", 5, kLf, Delivery::JoinedInOrder},
    {"AltBinaries1_Separate_CrLf", 6, kCrLf, Delivery::SeparateInOrder},
    {"AltBinaries1_Shuffled_Lf", 6, kLf, Delivery::SeparateShuffled},
    {"AltBinaries3_Shuffled_CrLf", 8, kCrLf, Delivery::SeparateShuffled},
    {"Bitftp_Shuffled_Lf", 17, kLf, Delivery::SeparateShuffled},
};

class InteropMultiPart : public InteropTest, public ::testing::WithParamInterface<MultiPartCase> {};

TEST_P(InteropMultiPart, UudeviewReassemblesTheFileFromAllParts) {
    SKIP_WITHOUT_PEERS("uudeview");
    const MultiPartCase& param = GetParam();
    const fs::path inDir = dir_.Subdir("in");
    const fs::path in = inDir / "sample.bin";
    const std::string bytes = PseudoRandomBytes(kKib100, 7);
    WriteFile(in, bytes);

    const RunResult encoded =
        Mandrel({"--encodetype=" + std::to_string(param.fileFormat), "--encodeoutputsize=4500",
                 "--encodecrlf=" + std::to_string(param.eol), "--encodechecksum=0"},
                "-Eu", in);
    ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
    const std::vector<fs::path> parts = NumberedParts(inDir, "sample", ".uue");
    ASSERT_GT(parts.size(), 9U) << "a 100 KiB input in parts of 4500 characters";
    ASSERT_EQ(FileNames(inDir).size(), parts.size() + 1) << "only the parts beside the input";

    const fs::path out = dir_.Subdir("out");
    std::vector<std::string> args{"-i", "-o", "-q", "-p", out.string() + "/"};
    if (param.delivery == Delivery::JoinedInOrder) {
        std::string joined;
        for (const auto& part : parts) {
            joined += ReadFile(part);
        }
        const fs::path joinedFile = dir_.Subdir("joined") / "sample.txt";
        WriteFile(joinedFile, joined);
        args.push_back(joinedFile.string());
    } else {
        const bool shuffled = param.delivery == Delivery::SeparateShuffled;
        for (const std::size_t index :
             shuffled ? ShuffledOrder(parts.size()) : InOrder(parts.size())) {
            args.push_back(parts[index].string());
        }
    }
    const RunResult decoded = RunProgram(Peer("uudeview"), args, dir_.path());
    ASSERT_EQ(decoded.exitCode, 0) << decoded.output;
    ASSERT_EQ(FileNames(out), std::vector<std::string>{"sample.bin"}) << decoded.output;
    EXPECT_TRUE(ReadFile(out / "sample.bin") == bytes) << "decoded bytes differ";
}

INSTANTIATE_TEST_SUITE_P(Interop, InteropMultiPart, ::testing::ValuesIn(kMultiPartCases),
                         [](const auto& info) { return std::string(info.param.label); });

// ---------------------------------------------------------------------------------------------
// The shell-archive set: every part is a script for /bin/sh.

class InteropShellArchive : public InteropTest {
protected:
    // Encodes 100 KiB as a shar set with the given part size; returns the part scripts, moved
    // out of the input's directory so that the runs below see only what the scripts make.
    std::vector<fs::path> EncodeSet(int outputSize) {
        const fs::path inDir = dir_.Subdir("in");
        const fs::path in = inDir / "sample.bin";
        WriteFile(in, bytes_);
        const RunResult encoded =
            Mandrel({"--encodetype=10", "--encodeoutputsize=" + std::to_string(outputSize),
                     "--encodecrlf=176", "--encodechecksum=1"},
                    "-Eu", in);
        EXPECT_EQ(encoded.exitCode, 0) << encoded.output;
        const fs::path scripts = dir_.Subdir("scripts");
        std::vector<fs::path> parts;
        for (const auto& part : NumberedParts(inDir, "sample", ".uue")) {
            parts.push_back(scripts / part.filename());
            fs::rename(part, parts.back());
        }
        return parts;
    }

    RunResult RunScript(const fs::path& script, const fs::path& cwd) const {
        return RunProgram(Peer("/bin/sh"), {script.string()}, cwd);
    }

    // Runs the whole set in one fresh directory in the given order: nothing may appear but the
    // pieces until the last one is there; then the file appears and the pieces are gone.
    void ExpectReassembly(const std::vector<fs::path>& parts,
                          const std::vector<std::size_t>& order) {
        const fs::path run = dir_.Subdir("run");
        for (std::size_t i = 0; i < order.size(); ++i) {
            const RunResult result = RunScript(parts[order[i]], run);
            ASSERT_EQ(result.exitCode, 0) << parts[order[i]] << ":\n" << result.output;
            if (i + 1 < order.size()) {
                ASSERT_EQ(FileNames(run).size(), i + 1) << "only pieces until the set is complete";
                ASSERT_FALSE(fs::exists(run / "sample.bin"));
            }
        }
        ASSERT_EQ(FileNames(run), std::vector<std::string>{"sample.bin"})
            << "the file, and no piece left over";
        EXPECT_TRUE(ReadFile(run / "sample.bin") == bytes_) << "reassembled bytes differ";
    }

    void SetUp() override {
        InteropTest::SetUp();
        bytes_ = PseudoRandomBytes(kKib100, 10);
    }

    std::string bytes_;
};

constexpr int kNinePartSize = 20000;

TEST_F(InteropShellArchive, ReassemblesWhenThePartsRunInOrder) {
    SKIP_WITHOUT_PEERS("/bin/sh", "uudecode");
    const std::vector<fs::path> parts = EncodeSet(kNinePartSize);
    ASSERT_GE(parts.size(), 2U);
    ASSERT_LE(parts.size(), 9U);
    ExpectReassembly(parts, InOrder(parts.size()));
}

TEST_F(InteropShellArchive, ReassemblesWhenThePartsRunInAnyOrder) {
    SKIP_WITHOUT_PEERS("/bin/sh", "uudecode");
    const std::vector<fs::path> parts = EncodeSet(kNinePartSize);
    ASSERT_GE(parts.size(), 3U);
    ASSERT_LE(parts.size(), 9U);
    ExpectReassembly(parts, ShuffledOrder(parts.size()));
}

// With the smallest part size the set has dozens of parts, numbered with two digits so that
// the script's `cat $file.uue.*` takes piece 10 after piece 9.
TEST_F(InteropShellArchive, ReassemblesALargeSetInAnyOrder) {
    SKIP_WITHOUT_PEERS("/bin/sh", "uudecode");
    const std::vector<fs::path> parts = EncodeSet(4500);
    ASSERT_GT(parts.size(), 9U);
    ExpectReassembly(parts, ShuffledOrder(parts.size()));
}

// Each script, run alone, leaves exactly its own piece, without the cut lines.
TEST_F(InteropShellArchive, EveryPartOfALargeSetExtractsItsPiece) {
    SKIP_WITHOUT_PEERS("/bin/sh", "uudecode");
    const std::vector<fs::path> parts = EncodeSet(4500);
    ASSERT_GT(parts.size(), 9U);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const fs::path run = dir_.Subdir("run" + std::to_string(i + 1));
        const RunResult result = RunScript(parts[i], run);
        ASSERT_EQ(result.exitCode, 0) << parts[i] << ":\n" << result.output;
        const std::string number = (i + 1 < 10 ? "0" : "") + std::to_string(i + 1);
        const std::string piece = "sample.bin.uue." + number;
        ASSERT_EQ(FileNames(run), std::vector<std::string>{piece});
        for (const auto& line : SplitLines(ReadFile(run / piece))) {
            EXPECT_FALSE(StartsWith(line, "BEGIN") || StartsWith(line, "END")) << piece;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// "sum -r/size" lines against BSD sum.

// The lines a part's section sum covers, saved with LF ends: the begin line (part 1), every
// encoded line, and on the last part the zero-length line and "end". Header, empty and trailer
// lines are not covered.
std::string CoveredText(const std::vector<std::string>& lines, std::size_t first) {
    std::vector<std::string> covered;
    for (std::size_t i = first; i < lines.size(); ++i) {
        if (lines[i].empty() || StartsWith(lines[i], "sum -r/size ")) {
            break;
        }
        covered.push_back(lines[i]);
    }
    return JoinWithLf(covered);
}

struct SumEncodingCase {
    const char* label;
    const char* methodSwitch;
    const char* extension;
};

constexpr SumEncodingCase kSumEncodings[] = {{"UU", "-Eu", ".uue"}, {"XX", "-Ex", ".xxe"}};

using SumParam = std::tuple<SumEncodingCase, InputCase, int>;

class InteropSumSingleFile : public InteropTest, public ::testing::WithParamInterface<SumParam> {};

TEST_P(InteropSumSingleFile, ChecksumLinesAgreeWithBsdSum) {
    SKIP_WITHOUT_PEERS("sum");
    const auto& [encoding, input, eol] = GetParam();
    const fs::path in = dir_.Subdir("in") / InputName(input);
    const std::string bytes = InputBytes(input);
    WriteFile(in, bytes);

    const RunResult encoded =
        Mandrel({"--encodetype=3", "--encodecrlf=" + std::to_string(eol), "--encodechecksum=1"},
                encoding.methodSwitch, in);
    ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
    const std::vector<std::string> lines =
        SplitLines(ReadFile(fs::path(in).replace_extension(encoding.extension)));
    ASSERT_GE(lines.size(), 5U);

    // The last two lines: the section, then the whole input.
    const auto section = ParseSumLine(lines[lines.size() - 2]);
    const auto entire = ParseSumLine(lines.back());
    ASSERT_TRUE(section && entire) << lines[lines.size() - 2] << "\n" << lines.back();
    EXPECT_EQ(section->rest, "section (from \"begin\" to \"end\")");
    EXPECT_EQ(entire->rest, "entire input file");

    const auto inputSum = BsdSum(in);
    ASSERT_TRUE(inputSum);
    EXPECT_EQ(entire->sum, *inputSum);
    EXPECT_EQ(entire->size, bytes.size());

    ASSERT_TRUE(StartsWith(lines.front(), "begin 644 "));
    const fs::path covered = dir_.Subdir("covered") / "section";
    const std::string coveredText = CoveredText(lines, 0);
    ASSERT_TRUE(EndsWith(coveredText, "\nend\n"));
    WriteFile(covered, coveredText);
    const auto coveredSum = BsdSum(covered);
    ASSERT_TRUE(coveredSum);
    EXPECT_EQ(section->sum, *coveredSum);
    EXPECT_EQ(section->size, coveredText.size());
}

INSTANTIATE_TEST_SUITE_P(Interop, InteropSumSingleFile,
                         ::testing::Combine(::testing::ValuesIn(kSumEncodings),
                                            ::testing::ValuesIn(kInputs),
                                            ::testing::Values(kCrLf, kLf)),
                         [](const ::testing::TestParamInfo<SumParam>& info) {
                             return std::string(std::get<0>(info.param).label) + "_" +
                                    std::get<1>(info.param).label + "_" +
                                    EolLabel(std::get<2>(info.param));
                         });

class InteropSumMultiPart : public InteropTest, public ::testing::WithParamInterface<int> {};

// Comp.binaries: each part opens with "BEGIN--cut here--cut here--" and its covered lines follow
// it at once; the checksum lines come before "END--cut here--cut here".
TEST_P(InteropSumMultiPart, EveryPartsSectionLineAgreesWithBsdSum) {
    SKIP_WITHOUT_PEERS("sum");
    const int eol = GetParam();
    const fs::path inDir = dir_.Subdir("in");
    const fs::path in = inDir / "sample.bin";
    const std::string bytes = PseudoRandomBytes(kKib100, 3);
    WriteFile(in, bytes);

    const RunResult encoded = Mandrel({"--encodetype=4", "--encodeoutputsize=4500",
                                       "--encodecrlf=" + std::to_string(eol), "--encodechecksum=1"},
                                      "-Eu", in);
    ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
    const std::vector<fs::path> parts = NumberedParts(inDir, "sample", ".uue");
    ASSERT_GT(parts.size(), 2U);

    const fs::path coveredDir = dir_.Subdir("covered");
    for (std::size_t i = 0; i < parts.size(); ++i) {
        SCOPED_TRACE(parts[i].filename().string());
        const bool first = i == 0;
        const bool last = i + 1 == parts.size();
        const std::vector<std::string> lines = SplitLines(ReadFile(parts[i]));
        const auto open = std::find(lines.begin(), lines.end(), "BEGIN--cut here--cut here--");
        ASSERT_NE(open, lines.end());
        const std::size_t start = static_cast<std::size_t>(open - lines.begin()) + 1;
        ASSERT_LT(start, lines.size());
        EXPECT_EQ(StartsWith(lines[start], "begin 644 "), first);

        const auto sectionLine = std::find_if(lines.begin(), lines.end(), [](const auto& line) {
            return StartsWith(line, "sum -r/size ") && line.find(" section (from ") != line.npos;
        });
        ASSERT_NE(sectionLine, lines.end());
        const auto section = ParseSumLine(*sectionLine);
        ASSERT_TRUE(section) << *sectionLine;
        const char* ending = first ? (last ? "section (from \"begin\" to \"end\")"
                                           : "section (from \"begin\" to last encoded line)")
                                   : (last ? "section (from first encoded line to \"end\")"
                                           : "section (from first to last encoded line)");
        EXPECT_EQ(section->rest, ending);

        const std::string coveredText = CoveredText(lines, start);
        EXPECT_EQ(EndsWith(coveredText, "\nend\n"), last);
        const fs::path covered = coveredDir / ("part" + std::to_string(i + 1));
        WriteFile(covered, coveredText);
        const auto coveredSum = BsdSum(covered);
        ASSERT_TRUE(coveredSum);
        EXPECT_EQ(section->sum, *coveredSum);
        EXPECT_EQ(section->size, coveredText.size());

        const auto entireLine = std::find_if(lines.begin(), lines.end(), [](const auto& line) {
            return StartsWith(line, "sum -r/size ") && EndsWith(line, " entire input file");
        });
        ASSERT_EQ(entireLine != lines.end(), last);
        if (last) {
            const auto entire = ParseSumLine(*entireLine);
            ASSERT_TRUE(entire);
            const auto inputSum = BsdSum(in);
            ASSERT_TRUE(inputSum);
            EXPECT_EQ(entire->sum, *inputSum);
            EXPECT_EQ(entire->size, bytes.size());
        }
        EXPECT_EQ(lines.back(), "END--cut here--cut here");
    }
}

INSTANTIATE_TEST_SUITE_P(Interop, InteropSumMultiPart, ::testing::Values(kCrLf, kLf),
                         [](const auto& info) { return std::string(EolLabel(info.param)); });

}  // namespace
