#include "platform/bus/BusConnection.h"

#include "platform/base/EventLoop.h"
#include "platform/bus/ConnectionNames.h"
#include "platform/bus/tests/ClientProgram.h"
#include "platform/log/tests/RecordingSink.h"

#include <csignal>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

constexpr const char* path = "/com/veltra/test";
constexpr const char* interface = "com.veltra.test.Echo";
constexpr auto anyCaller = SD_BUS_VTABLE_UNPRIVILEGED;

const sd_bus_vtable methods[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Number", "i", "i", &BusConnection::useMethod, anyCaller),
    SD_BUS_METHOD("Other", "", "", &BusConnection::useMethod, anyCaller), SD_BUS_VTABLE_END};

/// Two programs on a private bus: one is called, on the loop; the other calls and waits.
class BusConnectionTest : public testing::Test {
  protected:
    void SetUp() override
    {
        address_ = daemon_.line();
        service_ = std::move(BusConnection::openAt(address_).value());
        ASSERT_TRUE(service_->serveOn(loop()));
    }

    [[nodiscard]] EventLoop& loop() const { return *loop_; }
    [[nodiscard]] BusConnection& service() const { return *service_; }
    void signalDaemon(int signal) const { daemon_.kill(signal); }
    [[nodiscard]] std::unique_ptr<BusConnection> join() const
    {
        return std::move(BusConnection::openAt(address_).value());
    }

    [[nodiscard]] std::unique_ptr<BusConnection> joinOnLoop() const
    {
        auto joined = join();
        EXPECT_TRUE(joined->serveOn(loop()));
        return joined;
    }

    BusMessage callOf(const char* method, BusConnection& from) const
    {
        return from.methodCall(service().uniqueName(), path, interface, method);
    }

    BusSlot exportMethods(BusConnection::CallHandler onCall) const
    {
        return std::move(service().addObject(path, interface, methods, std::move(onCall)).value());
    }

    /// Runs the loop until an answer has come, and returns it.
    BusMessage answerTo(BusMessage& call, BusConnection& from) const
    {
        BusMessage answer;
        const auto slot = from.call(call, [&](BusMessage& message) {
            answer = std::move(message);
            loop().stop();
        });
        EXPECT_TRUE(slot);
        EXPECT_TRUE(loop().run());
        return answer;
    }

  private:
    ClientProgram daemon_{{"dbus-daemon", "--session", "--nofork", "--print-address"}};
    std::string address_;
    std::unique_ptr<EventLoop> loop_ = std::move(EventLoop::open({}).value());
    std::unique_ptr<BusConnection> service_;
};

std::string nameOfError(const BusMessage& answer)
{
    const auto error = answer.error();
    return error ? error->name : "";
}

// What anybody may send to anybody.
void sendAsSignal(const BusMessage& like, const std::string& receiver, const Words& content)
{
    sd_bus_message* made = nullptr;
    EXPECT_GE(::sd_bus_message_new_signal(
                  ::sd_bus_message_get_bus(like.handle()), &made, std::string{like.path()}.c_str(),
                  std::string{like.interface()}.c_str(), std::string{like.member()}.c_str()),
              0);
    BusMessage signal = BusMessage::takeOver(made);
    for (const std::string& text : content)
        signal.append(text);
    EXPECT_GE(::sd_bus_message_set_destination(signal.handle(), receiver.c_str()), 0);
    EXPECT_GE(::sd_bus_message_send(signal.handle()), 0);
}

TEST_F(BusConnectionTest, CannotBeOpenedWhereThereIsNoBus)
{
    const auto connection = BusConnection::openAt("unix:path=/there/is/no/bus");

    ASSERT_FALSE(connection);
    EXPECT_EQ(connection.error().message(),
              "connect to unix:path=/there/is/no/bus: No such file or directory");
}

TEST_F(BusConnectionTest, CarriesAllTypesThereAndBack)
{
    using Entries = std::map<std::string, BusVariant<bool, std::string, Words, Fd>>;
    using Tuple = std::tuple<std::int32_t, std::uint64_t, bool>;
    const std::vector<std::uint8_t> bytes{0, 7, 255};
    const Words words{"one", "", "zwölf"};
    const std::vector<Tuple> tuples{{-1, UINT64_MAX, true}, {0, 0, false}};
    Entries entries;
    entries.emplace("text", "word");
    entries.emplace("truth", true);
    entries.emplace("words", words);
    entries.emplace("null", Fd{::open("/dev/null", O_RDONLY | O_CLOEXEC)});
    const auto fallback = service().addFallback(path, [&](BusMessage& call) {
        Words readWords;
        std::vector<Tuple> readTuples;
        std::vector<std::uint8_t> readBytes;
        Entries readEntries;
        ObjectPath readPath;
        ASSERT_TRUE(call.read(readWords, readTuples, readBytes, readEntries, readPath));
        EXPECT_EQ(readWords, words);
        EXPECT_EQ(readTuples, tuples);
        EXPECT_EQ(readBytes, bytes);
        EXPECT_EQ(readPath.text, "/a/path");
        EXPECT_EQ(*findProperty<std::string>(readEntries, "text"), "word");
        EXPECT_TRUE(*findProperty<bool>(readEntries, "truth"));
        EXPECT_EQ(*findProperty<Words>(readEntries, "words"), words);
        EXPECT_EQ(::fcntl(findProperty<Fd>(readEntries, "null")->get(), F_GETFD), FD_CLOEXEC);
        loop().stop();
    });
    ASSERT_TRUE(fallback);
    const auto caller = join();

    auto call = callOf("Anything", *caller);
    ASSERT_TRUE(caller->send(call.append(words, tuples, bytes, entries, ObjectPath{"/a/path"})));

    EXPECT_TRUE(loop().run());
}

TEST_F(BusConnectionTest, PassesOverAVariantOfAnotherType)
{
    using Sent = std::map<std::string, BusVariant<Words, std::uint32_t>>;
    using Read = std::map<std::string, BusVariant<std::uint32_t>>;
    Read read;
    const auto fallback = service().addFallback(path, [&](BusMessage& call) {
        EXPECT_TRUE(call.read(read));
        loop().stop();
    });
    const auto caller = join();

    auto call = callOf("Anything", *caller);
    ASSERT_TRUE(caller->send(
        call.append(Sent{{"a", Words{"x"}}, {"b", std::uint32_t{5}}, {"c", Words{}}})));
    EXPECT_TRUE(loop().run());

    EXPECT_EQ(*findProperty<std::uint32_t>(read, "b"), 5U);
    EXPECT_EQ(findProperty<std::uint32_t>(read, "a"), nullptr);
    EXPECT_EQ(findProperty<std::uint32_t>(read, "d"), nullptr);
    EXPECT_EQ(read.size(), 3U);
}

TEST_F(BusConnectionTest, ReadsNothingThatIsNotExactlyOfTheTypes)
{
    const auto fallback = service().addFallback(path, [&](BusMessage& call) {
        std::string text;
        std::string second;
        std::uint32_t number = 0;
        EXPECT_FALSE(call.read(text));
        EXPECT_FALSE(call.read(number, text));
        EXPECT_FALSE(call.read(text, number, second));
        EXPECT_TRUE(call.read(text, number));
        EXPECT_EQ(text, "word");
        loop().stop();
    });
    const auto caller = join();

    auto call = callOf("Anything", *caller);
    ASSERT_TRUE(caller->send(call.append(std::string{"word"}, std::uint32_t{3})));

    EXPECT_TRUE(loop().run());
}

TEST_F(BusConnectionTest, SendsNothingThatCouldNotBeAdded)
{
    const auto caller = join();

    auto call = callOf("Number", *caller);
    call.append(ObjectPath{"no path"});
    const auto sent = caller->send(call.append(std::int32_t{1}));

    ASSERT_FALSE(sent);
    EXPECT_EQ(sent.error().message(), "send com.veltra.test.Echo.Number: Invalid argument");
}

TEST_F(BusConnectionTest, SendsNothingThatLacksAValueOfAVariant)
{
    const auto caller = join();

    auto call = callOf("Number", *caller);
    call.append(BusVariant<bool>{});
    const auto sent = caller->send(call.append(std::int32_t{1}));

    ASSERT_FALSE(sent);
    EXPECT_EQ(sent.error().message(), "send com.veltra.test.Echo.Number: Invalid argument");
}

TEST_F(BusConnectionTest, AnswersACallNowOrLater)
{
    std::vector<BusCall> owed;
    const auto object = exportMethods([&](BusCall call) {
        owed.push_back(std::move(call));
        loop().post([&] {
            std::int32_t number = 0;
            EXPECT_TRUE(owed.front().message().read(number));
            owed.front().answer(number + 1);
        });
    });
    const auto caller = joinOnLoop();
    auto call = callOf("Number", *caller);

    auto answer = answerTo(call.append(std::int32_t{41}), *caller);

    std::int32_t number = 0;
    EXPECT_TRUE(answer.read(number));
    EXPECT_EQ(number, 42);
}

TEST_F(BusConnectionTest, AnswersACallThatNobodyKeepsWithAnError)
{
    const auto object = exportMethods([](const BusCall&) {});
    const auto caller = joinOnLoop();
    auto call = callOf("Other", *caller);

    EXPECT_EQ(nameOfError(answerTo(call, *caller)), connections::failedError);
}

TEST_F(BusConnectionTest, AnswersACallWithAnErrorWhenItsHandlerThrows)
{
    const auto recording = std::make_shared<Recording>();
    SystemLog log{Recording::sink(recording)};
    const SystemLog::Redirection redirection{log};
    const auto object = exportMethods([](const BusCall&) { throw std::runtime_error{"too bad"}; });
    const auto caller = joinOnLoop();
    auto call = callOf("Other", *caller);

    EXPECT_EQ(nameOfError(answerTo(call, *caller)), connections::failedError);

    log.drain();
    EXPECT_EQ(recording->messages(), Words{"the error is too bad"});
}

TEST_F(BusConnectionTest, RefusesACallWhoseArgumentsDoNotFit)
{
    bool isCalled = false;
    const auto object = exportMethods([&](const BusCall&) { isCalled = true; });
    const auto caller = joinOnLoop();
    auto call = callOf("Number", *caller);

    EXPECT_EQ(nameOfError(answerTo(call.append(std::string{"one"}), *caller)),
              "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_FALSE(isCalled);
}

TEST_F(BusConnectionTest, KnowsNoObjectWhoseSlotHasGone)
{
    std::vector<BusSlot> object;
    object.push_back(exportMethods([&](BusCall call) {
        // During its own call.
        object.clear();
        call.answer();
    }));
    const auto caller = joinOnLoop();
    auto first = callOf("Other", *caller);
    auto second = callOf("Other", *caller);

    EXPECT_EQ(nameOfError(answerTo(first, *caller)), "");
    EXPECT_EQ(nameOfError(answerTo(second, *caller)), connections::unknownObjectError);
}

TEST_F(BusConnectionTest, TellsTheErrorNumberOfAnErrorThatItsCallerWaitsFor)
{
    const auto caller = join();
    auto question = caller->methodCall(connections::busName, connections::busPath,
                                       connections::busName, "GetNameOwner");

    const auto answer = caller->call(question.append(std::string{"com.veltra.nobody"}));

    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().code().value(), ENXIO);
    EXPECT_TRUE(answer.error().message().starts_with(
        "call org.freedesktop.DBus.GetNameOwner (Could not get owner of name"))
        << answer.error().message();
}

TEST_F(BusConnectionTest, WaitsForAnAnswerNoLongerThanItWasTold)
{
    const auto caller = join();
    auto call = callOf("Other", *caller);

    // Nobody runs the loop.
    const auto answer = caller->call(call, 10ms);

    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().code().value(), ETIMEDOUT);
}

TEST_F(BusConnectionTest, ForgetsWhoWaitsForAnAnswerWithTheSlot)
{
    const auto object = exportMethods([](BusCall call) { call.answer(); });
    const auto caller = joinOnLoop();
    auto forgotten = callOf("Other", *caller);
    auto call = callOf("Other", *caller);
    bool isAnswered = false;

    static_cast<void>(caller->call(forgotten, [&](BusMessage&) { isAnswered = true; }));
    EXPECT_EQ(nameOfError(answerTo(call, *caller)), "");

    EXPECT_FALSE(isAnswered);
}

TEST_F(BusConnectionTest, AnswersWhoWaitsAndTellsOfTheLossWhenTheBusGoesAway)
{
    const auto object = exportMethods([this](const BusCall&) { signalDaemon(SIGKILL); });
    const auto caller = joinOnLoop();
    Words heard;
    ASSERT_TRUE(caller->setLossHandler([&] {
        heard.emplace_back("lost");
        loop().stop();
    }));
    auto call = callOf("Other", *caller);
    auto sent = caller->call(
        call, [&](BusMessage& answer) { heard.push_back(answer.error() ? "failed" : "answered"); });
    ASSERT_TRUE(sent);
    sent.value().detach();

    EXPECT_TRUE(loop().run());

    EXPECT_EQ(heard, (Words{"failed", "lost"}));
    auto late = callOf("Other", *caller);
    EXPECT_FALSE(caller->send(late));
}

TEST_F(BusConnectionTest, BelievesASignalOnlyFromItsSender)
{
    const std::string name = "com.veltra.wanted";
    Words owners;
    const auto watch = service().match(
        connections::busName, connections::ruleForOwnersOf(name), [&](BusMessage& signal) {
            std::string changed;
            std::string previous;
            owners.emplace_back();
            EXPECT_TRUE(signal.read(changed, previous, owners.back()));
            loop().stop();
        });
    ASSERT_TRUE(watch);
    const auto stranger = join();

    auto forged = stranger->methodCall(service().uniqueName(), connections::busPath,
                                       connections::busName, "NameOwnerChanged");
    sendAsSignal(forged, service().uniqueName(), {name, "", ":1.99"});
    ASSERT_TRUE(stranger->requestName(name));

    EXPECT_TRUE(loop().run());
    EXPECT_EQ(owners, Words{stranger->uniqueName()});
}

} // namespace
} // namespace veltra
