// In which pieces a tool's output arrives, and what becomes of it when nobody takes it.
#include "tests/service/ServiceTesting.h"

using namespace veltra;
using namespace std::chrono_literals;

namespace {

// Where a sanitizer slows the helper, there is less output.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const std::string lastOfFlood = "3500000";
constexpr long sizeOfFlood = 26'888'896;
const std::string bytesOfLongLine = "30000000";
#else
const std::string lastOfFlood = "35000000";
constexpr long sizeOfFlood = 303'888'897;
const std::string bytesOfLongLine = "300000000";
#endif

// A sanitizer's memory is not the helper's.
void expectSmall([[maybe_unused]] pid_t helper)
{
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    constexpr long mostKilobytes = 12 * 1024;
    EXPECT_LT(statusOf(helper, "VmHWM"), mostKilobytes);
#endif
}

/// What arrives until a command is over: until its exit status and the ends of both streams have
/// come.
Words wholeCourse(Client& client, const std::string& command)
{
    client.tell(command);
    Words heard;
    for (int ends = 0; ends < 3;) {
        heard.push_back(client.line());
        const std::string& line = heard.back();
        if (line.starts_with('<'))
            break;
        ends += line == "a out " || line == "a err " || line.starts_with("a exit ");
    }
    return heard;
}

// Octal escapes for the shell's printf.
std::string escaped(const std::string& bytes)
{
    std::ostringstream escapes;
    for (const char c : bytes)
        escapes << '\\' << std::oct << static_cast<int>(static_cast<unsigned char>(c));
    return escapes.str();
}

std::string utf8(char32_t character)
{
    const auto last = [character](int shift) {
        return static_cast<char>(0x80 | (character >> shift & 0x3F));
    };
    if (character < 0x10000)
        return {static_cast<char>(0xE0 | character >> 12), last(6), last(0)};
    return {static_cast<char>(0xF0 | character >> 18), last(12), last(6), last(0)};
}

std::vector<char32_t> noncharacters()
{
    std::vector<char32_t> all;
    for (char32_t character = 0xFDD0; character <= 0xFDEF; ++character)
        all.push_back(character);
    for (char32_t plane = 0; plane <= 0x10; ++plane)
        all.insert(all.end(), {plane << 16 | 0xFFFE, plane << 16 | 0xFFFF});
    return all;
}

long written(pid_t process)
{
    std::ifstream counts{"/proc/" + std::to_string(process) + "/io"};
    for (std::string name, count; counts >> name >> count;)
        if (name == "wchar:")
            return std::stol(count);
    return -1;
}

// A command that prints a flood and says in /tmp/pid which process does.
const std::string flood = "seq " + lastOfFlood +
                          " & echo $! >/tmp/pid.new; mv /tmp/pid.new /tmp/pid; wait; "
                          "echo end; touch /tmp/done";

pid_t floodingProcess()
{
    EXPECT_TRUE(becomesTrue([] { return std::filesystem::exists("/tmp/pid"); }));
    return std::stoi(contentOf("/tmp/pid"));
}

/// Waits until a process that prints does not get any further; how much it has printed.
long writtenWhenHeldUp(pid_t process)
{
    long last = -1;
    EXPECT_TRUE(becomesTrue(
        [&] {
            const long before = last;
            std::this_thread::sleep_for(1s);
            last = written(process);
            return last == before && last > 0;
        },
        1min));
    return last;
}

/// A client whose connection "b" has got some of a flood when it stops.
class StoppedClient : public Client {
  public:
    StoppedClient()
    {
        tell("connect b ordered");
        EXPECT_EQ(version("b"), "b version 1.0.0");
        tell("run b " + flood);
        const pid_t process = floodingProcess();
        kill(SIGSTOP);
        EXPECT_LT(writtenWhenHeldUp(process), sizeOfFlood);
    }
};

} // namespace

TEST(HelperOutput, ArrivesTogetherWhenTheToolFlushesItsLinesOneByOne)
{
    Client client;
    const Words expected{"a err ", "a exit 0", "a out ", "a out 1\\n2\\n3\\n4\\n5\\n"};

    Words heard;
    // A tool that the system holds up for a tenth of a second is silent.
    for (int attempt = 0; attempt < 20 && heard != expected; ++attempt) {
        heard = wholeCourse(client, "run a for i in {1..5}; do echo $i; sleep 0.02; done");
        std::ranges::sort(heard);
    }

    EXPECT_EQ(heard, expected);
}

TEST(HelperOutput, IsDroppedPieceByPieceWhereItIsNotUtf8)
{
    Client client;

    // More than a piece holds comes between the bad byte and the end.
    client.tell("run a printf '\\377'; head -c 70000 /dev/zero | tr '\\0' x; printf good");

    std::string heard;
    while (!heard.ends_with("good") && !heard.starts_with('<'))
        heard = client.line();
    EXPECT_TRUE(heard.starts_with("a out xx") || heard == "a out good") << heard.substr(0, 20);
}

TEST(HelperOutput, KeepsACharacterThatIsWrittenInTwo)
{
    Client client;

    client.tell("run a printf '1\\303'; until [[ -e /tmp/go ]]; do sleep 0.01; done; "
                "printf '\\2442'");
    EXPECT_EQ(client.line(), "a out 1");
    std::ofstream{"/tmp/go"};

    EXPECT_TRUE(client.hears("a out \xC3\xA4"
                             "2"));
}

TEST(HelperOutput, LosesTheStartOfACharacterThatHasNoEnd)
{
    Client client;

    Words heard = wholeCourse(client, "run a printf 'one\\303'");

    std::ranges::sort(heard);
    EXPECT_EQ(heard, (Words{"a err ", "a exit 0", "a out ", "a out one"}));
}

TEST(HelperOutput, HasReplacementCharactersForWhatTheBusDoesNotCarry)
{
    const std::string replacement = "\xEF\xBF\xBD";
    std::string printed;
    std::string expected;
    for (const char32_t character : noncharacters()) {
        printed += utf8(character) + ".";
        expected += replacement + ".";
    }
    std::string neighbours;
    for (const char32_t character : {U'\uFDCF', U'\uFDF0', U'\uFFFD', U'\U0001FFFD', U'\U00020000',
                                     U'\U000EFBFE', U'\U0010FFFD'})
        neighbours += utf8(character);
    Client client;

    Words heard = wholeCourse(client, "run a printf '" +
                                          escaped(printed + std::string{'\0'} + neighbours) + "'");

    std::ranges::sort(heard);
    EXPECT_EQ(heard, (Words{"a err ", "a exit 0", "a out ",
                            "a out " + expected + replacement + neighbours}));
}

TEST(HelperOutput, CostsTheHelperNoMemory)
{
    Client client;
    client.tell("connect b counted");
    client.version("b");

    client.tell("run b head -c " + bytesOfLongLine + " /dev/zero | tr '\\0' x");

    // It takes a while where a sanitizer watches.
    Words heard{client.line(10min), client.line(5min)};
    std::ranges::sort(heard);
    EXPECT_EQ(heard, (Words{"b exit 0", "counted " + bytesOfLongLine}));
    expectSmall(helperProcess());
}

TEST(HelperOutput, OfAStoppedClientHoldsUpNoOlderConnection)
{
    Client other{asNobody({trusted})};
    EXPECT_EQ(other.version(), "a version 1.0.0");
    StoppedClient stopped;

    EXPECT_EQ(other.version(), "a version 1.0.0");
    other.tell("run a exit 7");
    EXPECT_EQ(other.line(), "a exit 7");
    expectSmall(helperProcess());
    stopped.kill(SIGCONT);

    Words heard{stopped.line(10min), stopped.line(5min)};
    std::ranges::sort(heard);
    EXPECT_EQ(heard, (Words{"b exit 0", "in order up to " + lastOfFlood}));
}

// The newer connection gets the rest of the flood.
TEST(HelperOutput, OfAStoppedClientHoldsUpNoNewerConnection)
{
    StoppedClient stopped;
    Client other{asNobody({trusted})};
    other.tell("connect c counted");

    EXPECT_EQ(other.version("c"), "c version 1.0.0");
    other.tell("run c exit 7");
    EXPECT_TRUE(other.hears("c exit 7"));
    expectSmall(helperProcess());
    stopped.kill(SIGCONT);

    EXPECT_EQ(stopped.line(10min), "b exit 0");
}

TEST(HelperOutput, ThatIsNeverAcknowledgedIsBounded)
{
    installHelper("patient_helper");
    Client other{asNobody({trusted})};
    other.version();
    Client withholding;
    withholding.tell("connect b withholding");
    EXPECT_EQ(withholding.version("b"), "b version 1.0.0");

    withholding.tell("run b " + flood);
    EXPECT_LT(writtenWhenHeldUp(floodingProcess()), 2 * 1024 * 1024);
    EXPECT_EQ(other.version(), "a version 1.0.0");
    expectSmall(helperProcess());
    withholding.kill(SIGKILL);

    // The tool goes on when nobody is there any more to whom its output could go.
    EXPECT_TRUE(becomesTrue([] { return std::filesystem::exists("/tmp/done"); }, 1min));
}

TEST(HelperOutput, MayBeAcknowledgedByErrorsAndAnsweredUnasked)
{
    Client odd;
    odd.tell("connect b erring");
    EXPECT_EQ(odd.version("b"), "b version 1.0.0");

    odd.tell("run b head -c 30000000 /dev/zero | tr '\\0' x");

    Words heard{odd.line(5min), odd.line(5min)};
    std::ranges::sort(heard);
    EXPECT_EQ(heard, (Words{"b exit 0", "counted 30000000"}));
    expectSmall(helperProcess());
}
