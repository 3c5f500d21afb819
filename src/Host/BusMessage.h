// A message on D-Bus, and values in the few types that Bluetooth needs.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

struct sd_bus_message;

namespace Host {

struct ObjectPath {
    std::string path;
};
inline bool operator==(const ObjectPath& left, const ObjectPath& right)
{
    return left.path == right.path;
}

using Bytes = std::vector<uint8_t>;
/** Manufacturer data by company, in the order in which the message has it. */
using BytesByCompany = std::vector<std::pair<uint16_t, Bytes>>;

/** Without a value: something of another type. Texts may hold any characters. */
using BusValue =
    std::variant<std::monostate, bool, uint8_t, int16_t, uint16_t, int32_t, uint32_t, int64_t, uint64_t, double,
                 std::string, ObjectPath, Bytes, std::vector<std::string>, std::vector<ObjectPath>, BytesByCompany>;
using BusProperties = std::map<std::string, BusValue>;
using BusInterfaces = std::map<std::string, BusProperties>;  // by name
using BusObjects = std::map<std::string, BusInterfaces>;     // by path

/** The property if it is there and of this type, else null. What others send may be of any type. */
template <class T>
const T* find(const BusProperties& properties, const char* name)
{
    const auto at = properties.find(name);
    return at == properties.end() ? nullptr : std::get_if<T>(&at->second);
}

struct BusError {
    std::string name = {};  // "org.bluez.Error.Failed"; "" when there is none
    std::string text = {};

    explicit operator bool() const
    {
        return !name.empty();
    }
};

/** Copies share one message. One that is empty, or of which something failed, is read as an error or not sent. */
class BusMessage {
public:
    BusMessage() = default;
    /** Takes the reference over. */
    explicit BusMessage(sd_bus_message* message) : mMessage(message) {}
    explicit BusMessage(BusError error) : mError(std::move(error)) {}
    static BusMessage share(sd_bus_message* message);
    BusMessage(const BusMessage& other);
    BusMessage(BusMessage&& other) noexcept;
    BusMessage& operator=(BusMessage other) noexcept;
    ~BusMessage();

    /** Of a reply. */
    BusError error() const;
    std::string path() const;
    std::string interface() const;
    std::string member() const;
    std::string sender() const;

    /** The next value, and past it whatever it is. At the end: no value. */
    BusValue read();
    /** False when the next value is of another type; value is then left alone. */
    template <class T>
    bool read(T& value)
    {
        BusValue next = read();
        T* const found = std::get_if<T>(&next);
        if (found) {
            value = std::move(*found);
        }
        return found != nullptr;
    }
    /** False when it ends before that, or is something else. What was read up to there stays. */
    bool read(BusProperties& properties);
    bool read(BusInterfaces& interfaces);
    bool read(BusObjects& objects);

    BusMessage& append(const BusValue& value);
    BusMessage& appendVariant(const BusValue& value);
    BusMessage& append(const BusProperties& properties);
    BusMessage& append(const BusInterfaces& interfaces);
    BusMessage& append(const BusObjects& objects);
    template <class First, class Second, class... More>
    BusMessage& append(const First& first, const Second& second, const More&... more)
    {
        return append(first).append(second, more...);
    }

    /** Null when there is none, or when something could not be appended. */
    sd_bus_message* get() const
    {
        return mError ? nullptr : mMessage;
    }

private:
    bool enter(char type, const char* contents);
    bool leave();
    bool atEnd();
    void open(char type, const char* contents);
    void close();
    void appendBasic(char type, const void* value);
    void note(int result);

    sd_bus_message* mMessage = nullptr;
    BusError mError;
};

}  // namespace Host
