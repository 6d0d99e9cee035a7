// fuzzer COUNT SEED [PATH]...: sends that many random messages to the helper: of every type, for
// all members that it tells of and others, with arguments of every kind, descriptors among them.
// PATHS are objects that it would not tell of. Comes and goes on the bus meanwhile. Prints
// "answered NUMBER" when the helper has taken all messages: how many of them it has answered.
#include "platform/base/Fd.h"
#include "tests/service/programs/Intruder.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace {

using intruder::check;
using veltra::Fd;
using Words = std::vector<std::string>;

constexpr const char* helper = "com.veltra.agentMonitor.helper";
constexpr const char* helperRoot = "/com/veltra/agentMonitor/helper";
constexpr const char* busName = "org.freedesktop.DBus";

struct FreeMessage {
    void operator()(sd_bus_message* message) const noexcept { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, FreeMessage>;

class Chance {
  public:
    explicit Chance(std::uint32_t seed) : random_{seed} {}

    std::size_t below(std::size_t end) { return static_cast<std::size_t>(random_()) % end; }
    bool once(std::size_t in) { return below(in) == 0; }

    template <typename List>
    const auto& oneOf(const List& list)
    {
        return list[below(std::size(list))];
    }

    std::uint64_t bits()
    {
        constexpr std::array<std::uint64_t, 8> edges{
            0, 1, 0x7F, 0xFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, UINT64_MAX};
        return once(2) ? oneOf(edges) : random_();
    }

    std::size_t size()
    {
        constexpr std::array<std::size_t, 6> most{2, 10, 100, 1000, 10'000, 1'000'000};
        return below(most[std::min(below(12), below(12)) / 2]);
    }

  private:
    std::mt19937_64 random_;
};

struct Member {
    std::string interface;
    std::string name;
    std::string signature;
};

/// What there is on the bus to talk to, and to talk about.
struct Vocabulary {
    std::string helpersOwnName;
    Words paths{"/", helperRoot, "/org/freedesktop/DBus", "/org/freedesktop/systemd1"};
    Words names{helper, busName, "org.freedesktop.systemd1", "org.freedesktop.PolicyKit1"};
    std::vector<Member> members{
        {"com.veltra.agentMonitor.HelperProtocol", "getVersionWithCompletion", ""},
        {"com.veltra.agentMonitor.HelperProtocol", "runCommandWithPath_completion", "s"},
        {"com.veltra.agentMonitor.HelperProtocol", "runCommandWithPath_authData_completion", "say"},
        {busName, "NameOwnerChanged", "sss"},
        {busName, "NameLost", "s"},
        {"org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as"},
        {"org.freedesktop.systemd1.Manager", "JobRemoved", "uoss"}};
};

Words call(sd_bus* bus, const char* destination, const std::string& path, const char* interface,
           const char* method, const char* argument = nullptr)
{
    sd_bus_message* raw = nullptr;
    check(sd_bus_call_method(bus, destination, path.c_str(), interface, method, nullptr, &raw,
                             argument ? "s" : "", argument),
          method);
    const Message answer{raw};
    if (sd_bus_message_has_signature(raw, "as") > 0)
        check(sd_bus_message_enter_container(raw, 'a', "s"), "enter");
    Words words;
    const char* word = nullptr;
    while (sd_bus_message_read_basic(raw, 's', &word) > 0)
        words.emplace_back(word);
    return words;
}

// From the description that the helper gives of the object at `path` and of those below it.
void learn(sd_bus* bus, const std::string& path, Vocabulary& vocabulary)
{
    const std::string description =
        call(bus, helper, path, "org.freedesktop.DBus.Introspectable", "Introspect").front();
    std::string interface;
    for (auto at = description.find('<'); at != std::string::npos;
         at = description.find('<', at + 1)) {
        const std::string tag = description.substr(at + 1, description.find('>', at) - at - 1);
        const std::string kind = tag.substr(0, tag.find(' '));
        const auto attribute = [&tag](const std::string& name) {
            const auto found = tag.find(" " + name + "=\"");
            if (found == std::string::npos)
                return std::string{};
            const auto value = found + name.size() + 3;
            return tag.substr(value, tag.find('"', value) - value);
        };
        if (kind == "interface")
            interface = attribute("name");
        else if (kind == "method" || kind == "signal")
            vocabulary.members.push_back({interface, attribute("name"), ""});
        else if (kind == "arg" && attribute("direction") != "out")
            vocabulary.members.back().signature += attribute("type");
        else if (kind == "node" && !attribute("name").empty())
            vocabulary.paths.push_back((path == "/" ? path : path + "/") + attribute("name"));
    }
}

sd_bus* join()
{
    sd_bus* bus = nullptr;
    check(sd_bus_open_system(&bus), "join the bus");
    return bus;
}

Vocabulary learn(const Words& paths)
{
    sd_bus* const bus = join();
    Vocabulary vocabulary;
    for (const std::string& name :
         call(bus, busName, "/org/freedesktop/DBus", busName, "ListNames"))
        vocabulary.names.push_back(name);
    learn(bus, helperRoot, vocabulary);
    vocabulary.helpersOwnName =
        call(bus, busName, "/org/freedesktop/DBus", busName, "GetNameOwner", helper).front();
    vocabulary.paths.insert(vocabulary.paths.end(), paths.begin(), paths.end());
    // The bus lets strangers call hardly any others, so these are called more often.
    std::vector<Member> own;
    std::ranges::copy_if(vocabulary.members, std::back_inserter(own), [](const Member& member) {
        return member.interface.starts_with("com.veltra.");
    });
    for (int times = 0; times < 5; ++times)
        vocabulary.members.insert(vocabulary.members.end(), own.begin(), own.end());
    sd_bus_flush_close_unref(bus);
    return vocabulary;
}

/// The length of the first complete type of a valid signature.
std::size_t lengthOfType(std::string_view signature)
{
    if (signature.front() == 'a')
        return 1 + lengthOfType(signature.substr(1));
    std::size_t depth = 0;
    for (std::size_t i = 0;; ++i) {
        depth += signature[i] == '(' || signature[i] == '{' ? 1 : 0;
        depth -= signature[i] == ')' || signature[i] == '}' ? 1 : 0;
        if (depth == 0)
            return i + 1;
    }
}

/// Makes arguments of any type.
class Arguments {
  public:
    Arguments(Chance& chance, const Vocabulary& vocabulary)
        : chance_{chance}, vocabulary_{vocabulary}
    {
    }

    /// A signature of complete types.
    std::string signature(std::size_t depth = 0)
    {
        std::string types;
        for (std::size_t left = chance_.below(4); left > 0; --left)
            types += type(depth);
        return types;
    }

    std::string type(std::size_t depth)
    {
        if (chance_.once(200))
            return std::string(chance_.below(34), 'a') + "y";
        switch (depth > 3 ? 9 : chance_.below(10)) {
        case 0:
            return "a" + type(depth + 1);
        case 1:
            return "(" + type(depth + 1) + signature(depth + 1) + ")";
        case 2:
            return "a{" + basicType() + type(depth + 1) + "}";
        case 3:
            return "v";
        default:
            return basicType();
        }
    }

    /// Appends a value for each type; false if the library refuses one.
    bool append(sd_bus_message* message, std::string_view signature, std::size_t depth = 0)
    {
        while (!signature.empty()) {
            const std::size_t length = lengthOfType(signature);
            if (!appendOne(message, std::string{signature.substr(0, length)}, depth))
                return false;
            signature.remove_prefix(length);
        }
        return true;
    }

    std::string text()
    {
        switch (chance_.below(9)) {
        case 0:
        case 8:
            return chance_.oneOf(vocabulary_.names);
        case 1:
            return chance_.oneOf(vocabulary_.paths);
        case 2:
            return chance_.oneOf(vocabulary_.members).interface;
        case 3:
            return "";
        case 4: // noncharacters and an escape of terminals
            return "\xEF\xBF\xBE\xEF\xB7\x90\x1B[2J\n";
        default:
            return std::string(chance_.size(),
                               static_cast<char>(1 + chance_.below(chance_.once(300) ? 255 : 127)));
        }
    }

    std::string path()
    {
        const std::string& known = chance_.oneOf(vocabulary_.paths);
        return chance_.once(4)
                   ? (known == "/" ? known : known + "/") + std::to_string(chance_.below(10))
                   : known;
    }

  private:
    std::string basicType()
    {
        return std::string(1, chance_.oneOf(std::string_view{"ybnqiuxtdsoghss"}));
    }

    bool appendOne(sd_bus_message* message, const std::string& type, std::size_t depth)
    {
        switch (type.front()) {
        case 'a':
            return appendArray(message, type.substr(1), depth);
        case '(':
            return appendIn(message, 'r', type.substr(1, type.size() - 2), depth);
        case '{':
            return appendIn(message, 'e', type.substr(1, type.size() - 2), depth);
        case 'v':
            return appendIn(message, 'v',
                            depth > 60         ? "y"
                            : chance_.once(30) ? "v"
                                               : this->type(depth),
                            chance_.once(2) ? depth + 1 : depth);
        default:
            return appendBasic(message, type.front());
        }
    }

    bool appendIn(sd_bus_message* message, char kind, const std::string& contents,
                  std::size_t depth)
    {
        return sd_bus_message_open_container(message, kind, contents.c_str()) >= 0 &&
               append(message, contents, depth + 1) && sd_bus_message_close_container(message) >= 0;
    }

    bool appendArray(sd_bus_message* message, const std::string& element, std::size_t depth)
    {
        if (element == "y") {
            const std::string bytes = text();
            return sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size()) >= 0;
        }
        if (sd_bus_message_open_container(message, 'a', element.c_str()) < 0)
            return false;
        for (std::size_t left = depth > 3 ? 1 : chance_.below(5); left > 0; --left)
            if (!append(message, element, depth + 1))
                return false;
        return sd_bus_message_close_container(message) >= 0;
    }

    bool appendBasic(sd_bus_message* message, char type)
    {
        const std::uint64_t bits = chance_.bits();
        const int isTrue = static_cast<int>(bits & 1);
        if (type == 'b')
            return sd_bus_message_append_basic(message, type, &isTrue) >= 0;
        if (type == 'h') {
            const Fd descriptor = anyDescriptor();
            const int number = descriptor.get();
            return sd_bus_message_append_basic(message, type, &number) >= 0;
        }
        if (type == 's' || type == 'o' || type == 'g') {
            const std::string words = type == 's' ? text() : type == 'o' ? path() : signature();
            return sd_bus_message_append_basic(message, type, words.c_str()) >= 0;
        }
        return sd_bus_message_append_basic(message, type, &bits) >= 0;
    }

    Fd anyDescriptor()
    {
        switch (chance_.below(8)) {
        case 0:
            return Fd{::open("/dev/null", O_RDWR | O_CLOEXEC)};
        case 1:
            return Fd{::open("/", O_PATH | O_CLOEXEC)};
        case 2:
            return Fd{::memfd_create("fuzz", MFD_CLOEXEC)};
        case 3:
            return Fd{::eventfd(0, EFD_CLOEXEC)};
        case 4:
            return Fd{::epoll_create1(EPOLL_CLOEXEC)};
        case 5:
            return Fd{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
        default:
            return endOfPair();
        }
    }

    // At the other end there is nobody, somebody silent, or somebody who says anything.
    Fd endOfPair()
    {
        constexpr std::array<int, 3> types{SOCK_SEQPACKET, SOCK_STREAM, SOCK_DGRAM};
        std::array<int, 2> ends{};
        if (::socketpair(AF_UNIX, chance_.oneOf(types) | SOCK_CLOEXEC, 0, ends.data()) != 0)
            return {};
        Fd other{ends[1]};
        if (chance_.once(2)) {
            const std::string words = text();
            static_cast<void>(
                ::send(other.get(), words.data(), words.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
        }
        if (chance_.once(2))
            kept_.push_back(std::move(other));
        if (kept_.size() > 100)
            kept_.pop_front();
        return Fd{ends[0]};
    }

    Chance& chance_;
    const Vocabulary& vocabulary_;
    std::deque<Fd> kept_;
};

/// Makes messages of any kind.
class Messages {
  public:
    Messages(Chance& chance, const Vocabulary& vocabulary)
        : chance_{chance}, vocabulary_{vocabulary}, arguments_{chance, vocabulary}
    {
    }

    /// Null if the library refuses it.
    Message make(sd_bus* bus)
    {
        const Member& member = chance_.oneOf(vocabulary_.members);
        Message message = empty(bus, member);
        std::string signature = chance_.once(2) ? member.signature : arguments_.signature();
        // The library never closes the descriptors of a message whose signature is too deep for
        // it, although not for the bus.
        constexpr std::ptrdiff_t deepest = 30;
        if (std::ranges::count(signature, 'a') > deepest)
            std::ranges::replace(signature, 'h', 'y');
        if (!message || !arguments_.append(message.get(), signature))
            return nullptr;
        sd_bus_message_set_auto_start(message.get(), chance_.once(2));
        sd_bus_message_set_allow_interactive_authorization(message.get(), chance_.once(2));
        if (chance_.once(4))
            sd_bus_message_set_expect_reply(message.get(), 0);
        return message;
    }

  private:
    Message empty(sd_bus* bus, const Member& member)
    {
        // Mostly what fits, since the bus itself stops most of the rest.
        const std::string path = chance_.once(8) ? arguments_.path()
                                                 : (member.interface.ends_with(".HelperProtocol")
                                                        ? vocabulary_.paths.back()
                                                        : helperRoot);
        const std::string interface =
            chance_.once(10) ? chance_.oneOf(vocabulary_.members).interface : member.interface;
        const std::string name =
            chance_.once(10) ? chance_.oneOf(vocabulary_.members).name : member.name;
        const std::string destination =
            chance_.once(10) ? chance_.oneOf(vocabulary_.names) : helper;
        sd_bus_message* raw = nullptr;
        switch (chance_.below(10)) {
        case 0:
            return answer(bus, destination);
        case 1:
        case 2:
            if (sd_bus_message_new_signal(bus, &raw, path.c_str(), interface.c_str(),
                                          name.c_str()) >= 0)
                sd_bus_message_set_destination(raw, destination.c_str());
            break;
        default:
            sd_bus_message_new_method_call(bus, &raw, destination.c_str(), path.c_str(),
                                           chance_.once(10) ? nullptr : interface.c_str(),
                                           name.c_str());
        }
        return Message{raw};
    }

    // To a call that nobody made.
    Message answer(sd_bus* bus, const std::string& destination)
    {
        sd_bus_message* raw = nullptr;
        if (sd_bus_message_new_method_call(bus, &raw, nullptr, "/", nullptr, "A") < 0)
            return nullptr;
        const Message question{raw};
        sd_bus_message_set_sender(question.get(), destination.c_str());
        sd_bus_message_seal(question.get(), 1 + chance_.below(100), 0);
        raw = nullptr;
        if (chance_.once(2)) {
            sd_bus_message_new_method_return(question.get(), &raw);
        } else {
            const std::string words = arguments_.text();
            const sd_bus_error error{"com.veltra.agentMonitor.Error.Failed", words.c_str(), 0};
            sd_bus_message_new_method_error(question.get(), &raw, &error);
        }
        return Message{raw};
    }

    Chance& chance_;
    const Vocabulary& vocabulary_;
    Arguments arguments_;
};

/// Someone on the bus, who leaves it now and then, or is thrown out, and comes back.
class Stranger {
  public:
    Stranger(Chance& chance, std::string helpersOwnName)
        : chance_{chance}, helpersOwnName_{std::move(helpersOwnName)}
    {
        comeBack();
    }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;
    ~Stranger() { sd_bus_flush_close_unref(bus_); }

    sd_bus* bus()
    {
        // The bus takes about a hundred calls that wait, and answers more by itself.
        if (--left_ == 0) {
            if (chance_.once(2))
                hear();
            comeBack();
        }
        return bus_;
    }

    void send(Message message)
    {
        // Without a place for its number, the library would ask for no answer.
        std::uint64_t number = 0;
        if (sd_bus_send(bus_, message.get(), &number) < 0 || sd_bus_flush(bus_) < 0 || !take())
            comeBack();
    }

    /// Waits until the helper has taken everything; whether it has.
    bool finish()
    {
        // What waits may be too much for one more question.
        hear();
        comeBack();
        return hear();
    }

    /// How many answers came from the helper itself.
    [[nodiscard]] std::size_t answers() const noexcept { return answers_; }

  private:
    void comeBack()
    {
        if (bus_)
            sd_bus_close_unref(bus_);
        bus_ = join();
        check(sd_bus_add_filter(bus_, nullptr, &Stranger::count, this), "add a filter");
        left_ = 1 + chance_.below(200);
    }

    bool hear()
    {
        return sd_bus_call_method(bus_, helper, helperRoot, "org.freedesktop.DBus.Introspectable",
                                  "Introspect", nullptr, nullptr, "") >= 0 &&
               take();
    }

    bool take()
    {
        int result = 0;
        do
            result = sd_bus_process(bus_, nullptr);
        while (result > 0);
        return result == 0;
    }

    static int count(sd_bus_message* message, void* self, sd_bus_error*)
    {
        auto& stranger = *static_cast<Stranger*>(self);
        const char* const sender = sd_bus_message_get_sender(message);
        stranger.answers_ += sender && sender == stranger.helpersOwnName_ ? 1 : 0;
        return 0;
    }

    Chance& chance_;
    std::string helpersOwnName_;
    sd_bus* bus_ = nullptr;
    std::size_t left_ = 0;
    std::size_t answers_ = 0;
};

} // namespace

int main(int count, char** arguments)
{
    if (count < 3)
        return 2;
    Chance chance{static_cast<std::uint32_t>(std::stoul(arguments[2]))};
    const Vocabulary vocabulary = learn({arguments + 3, arguments + count});
    Messages messages{chance, vocabulary};
    Stranger stranger{chance, vocabulary.helpersOwnName};
    for (std::size_t left = std::stoul(arguments[1]); left > 0; --left)
        if (Message message = messages.make(stranger.bus()))
            stranger.send(std::move(message));
    if (!stranger.finish())
        intruder::say("cannot ask the helper any more");
    intruder::say("answered " + std::to_string(stranger.answers()));
}
