#pragma once

#include "platform/base/Fd.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

#include <fcntl.h>
#include <systemd/sd-bus.h>

namespace veltra {

/// The path of an object on the bus, for places where a plain text has the wrong type.
struct ObjectPath {
    std::string text;
};

/// One of several types. When reading, a value of any other type is skipped, which leaves the first
/// alternative.
template <typename... Types>
using BusVariant = std::variant<std::monostate, Types...>;

/// How a C++ type is represented in a message: its signature, and how it is written and read. A
/// tuple is a struct, a vector an array, a map a dictionary. See sd_bus_message_append(3).
template <typename T>
struct BusType;

/// The types that the library reads and writes directly.
template <typename T, char Letter>
struct BasicBusType {
    static std::string signature() { return {Letter}; }
    static bool append(sd_bus_message* message, T value)
    {
        return ::sd_bus_message_append_basic(message, Letter, &value) >= 0;
    }
    static bool read(sd_bus_message* message, T& value)
    {
        return ::sd_bus_message_read_basic(message, Letter, &value) > 0;
    }
};

template <>
struct BusType<std::int32_t> : BasicBusType<std::int32_t, SD_BUS_TYPE_INT32> {
};
template <>
struct BusType<std::uint32_t> : BasicBusType<std::uint32_t, SD_BUS_TYPE_UINT32> {
};
template <>
struct BusType<std::uint64_t> : BasicBusType<std::uint64_t, SD_BUS_TYPE_UINT64> {
};

template <>
struct BusType<bool> {
    using Carried = BasicBusType<int, SD_BUS_TYPE_BOOLEAN>;
    static std::string signature() { return Carried::signature(); }
    static bool append(sd_bus_message* message, bool value)
    {
        return Carried::append(message, value ? 1 : 0);
    }
    static bool read(sd_bus_message* message, bool& value)
    {
        int carried = 0;
        const bool isRead = Carried::read(message, carried);
        value = carried != 0;
        return isRead;
    }
};

template <char Letter>
struct TextBusType {
    static std::string signature() { return {Letter}; }
    static bool append(sd_bus_message* message, const std::string& text)
    {
        return ::sd_bus_message_append_basic(message, Letter, text.c_str()) >= 0;
    }
    static bool read(sd_bus_message* message, std::string& text)
    {
        const char* carried = nullptr;
        if (::sd_bus_message_read_basic(message, Letter, static_cast<void*>(&carried)) <= 0)
            return false;
        text = carried;
        return true;
    }
};

template <>
struct BusType<std::string> : TextBusType<SD_BUS_TYPE_STRING> {
};

template <>
struct BusType<ObjectPath> {
    using Carried = TextBusType<SD_BUS_TYPE_OBJECT_PATH>;
    static std::string signature() { return Carried::signature(); }
    static bool append(sd_bus_message* message, const ObjectPath& path)
    {
        return Carried::append(message, path.text);
    }
    static bool read(sd_bus_message* message, ObjectPath& path)
    {
        return Carried::read(message, path.text);
    }
};

/// The message gets its own copy of the descriptor, and so does the reader.
template <>
struct BusType<Fd> {
    static std::string signature() { return {SD_BUS_TYPE_UNIX_FD}; }
    static bool append(sd_bus_message* message, const Fd& descriptor)
    {
        const int carried = descriptor.get();
        return ::sd_bus_message_append_basic(message, SD_BUS_TYPE_UNIX_FD, &carried) >= 0;
    }
    static bool read(sd_bus_message* message, Fd& descriptor)
    {
        int carried = -1;
        if (::sd_bus_message_read_basic(message, SD_BUS_TYPE_UNIX_FD, &carried) <= 0)
            return false;
        descriptor = Fd{::fcntl(carried, F_DUPFD_CLOEXEC, 0)};
        return static_cast<bool>(descriptor);
    }
};

template <typename Content>
bool appendContainer(sd_bus_message* message, char type, const std::string& signature,
                     const Content& appendContent)
{
    return ::sd_bus_message_open_container(message, type, signature.c_str()) >= 0 &&
           appendContent() && ::sd_bus_message_close_container(message) >= 0;
}

template <typename Content>
bool readContainer(sd_bus_message* message, char type, const std::string& signature,
                   const Content& readContent)
{
    return ::sd_bus_message_enter_container(message, type, signature.c_str()) > 0 &&
           readContent() && ::sd_bus_message_exit_container(message) >= 0;
}

template <typename Item>
struct BusType<std::vector<Item>> {
    static std::string signature() { return "a" + BusType<Item>::signature(); }
    static bool append(sd_bus_message* message, const std::vector<Item>& items)
    {
        return appendContainer(message, SD_BUS_TYPE_ARRAY, BusType<Item>::signature(), [&] {
            return std::ranges::all_of(
                items, [&](const Item& item) { return BusType<Item>::append(message, item); });
        });
    }
    static bool read(sd_bus_message* message, std::vector<Item>& items)
    {
        return readContainer(message, SD_BUS_TYPE_ARRAY, BusType<Item>::signature(), [&] {
            while (::sd_bus_message_at_end(message, 0) == 0)
                if (!BusType<Item>::read(message, items.emplace_back()))
                    return false;
            return true;
        });
    }
};

template <>
struct BusType<std::vector<std::uint8_t>> {
    static std::string signature() { return "ay"; }
    static bool append(sd_bus_message* message, const std::vector<std::uint8_t>& bytes)
    {
        return ::sd_bus_message_append_array(message, SD_BUS_TYPE_BYTE, bytes.data(),
                                             bytes.size()) >= 0;
    }
    static bool read(sd_bus_message* message, std::vector<std::uint8_t>& bytes)
    {
        const void* carried = nullptr;
        std::size_t size = 0;
        if (::sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &carried, &size) < 0)
            return false;
        const auto* const first = static_cast<const std::uint8_t*>(carried);
        bytes.assign(first, first + size);
        return true;
    }
};

template <typename Key, typename Value>
struct BusType<std::map<Key, Value>> {
    static std::string entry() { return BusType<Key>::signature() + BusType<Value>::signature(); }
    static std::string signature() { return "a{" + entry() + "}"; }
    static bool append(sd_bus_message* message, const std::map<Key, Value>& entries)
    {
        return appendContainer(message, SD_BUS_TYPE_ARRAY, "{" + entry() + "}", [&] {
            for (const auto& [key, value] : entries)
                if (!appendContainer(message, SD_BUS_TYPE_DICT_ENTRY, entry(),
                                     [&, &name = key, &content = value] {
                                         return BusType<Key>::append(message, name) &&
                                                BusType<Value>::append(message, content);
                                     }))
                    return false;
            return true;
        });
    }
    static bool read(sd_bus_message* message, std::map<Key, Value>& entries)
    {
        return readContainer(message, SD_BUS_TYPE_ARRAY, "{" + entry() + "}", [&] {
            while (::sd_bus_message_at_end(message, 0) == 0)
                if (!readContainer(message, SD_BUS_TYPE_DICT_ENTRY, entry(), [&] {
                        Key key{};
                        return BusType<Key>::read(message, key) &&
                               BusType<Value>::read(message, entries[std::move(key)]);
                    }))
                    return false;
            return true;
        });
    }
};

template <typename... Fields>
struct BusType<std::tuple<Fields...>> {
    static std::string fields() { return (std::string{} + ... + BusType<Fields>::signature()); }
    static std::string signature() { return "(" + fields() + ")"; }
    static bool append(sd_bus_message* message, const std::tuple<Fields...>& tuple)
    {
        return appendContainer(message, SD_BUS_TYPE_STRUCT, fields(), [&] {
            return std::apply(
                [message](const Fields&... field) {
                    return (BusType<Fields>::append(message, field) && ...);
                },
                tuple);
        });
    }
    static bool read(sd_bus_message* message, std::tuple<Fields...>& tuple)
    {
        return readContainer(message, SD_BUS_TYPE_STRUCT, fields(), [&] {
            return std::apply(
                [message](Fields&... field) {
                    return (BusType<Fields>::read(message, field) && ...);
                },
                tuple);
        });
    }
};

template <typename... Types>
struct BusType<BusVariant<Types...>> {
    using Variant = BusVariant<Types...>;
    static std::string signature() { return "v"; }
    static bool append(sd_bus_message* message, const Variant& variant)
    {
        return (appendAs<Types>(message, variant) || ...);
    }
    static bool read(sd_bus_message* message, Variant& variant)
    {
        const char* content = nullptr;
        if (::sd_bus_message_peek_type(message, nullptr, &content) <= 0)
            return false;
        const std::string held{content};
        if (((held == BusType<Types>::signature()) || ...))
            return (readAs<Types>(message, held, variant) || ...);
        variant = std::monostate{};
        return ::sd_bus_message_skip(message, "v") >= 0;
    }

  private:
    template <typename T>
    static bool appendAs(sd_bus_message* message, const Variant& variant)
    {
        return std::holds_alternative<T>(variant) &&
               appendContainer(message, SD_BUS_TYPE_VARIANT, BusType<T>::signature(),
                               [&] { return BusType<T>::append(message, std::get<T>(variant)); });
    }
    template <typename T>
    static bool readAs(sd_bus_message* message, const std::string& held, Variant& variant)
    {
        return held == BusType<T>::signature() &&
               readContainer(message, SD_BUS_TYPE_VARIANT, held, [&] {
                   return BusType<T>::read(message, variant.template emplace<T>());
               });
    }
};

/// The value under `name` in a dictionary of properties; null if there is none of that type.
template <typename T, typename... Types>
T* findProperty(std::map<std::string, BusVariant<Types...>>& properties, const std::string& name)
{
    const auto found = properties.find(name);
    return found != properties.end() ? std::get_if<T>(&found->second) : nullptr;
}

} // namespace veltra
