#include "Host/BusMessage.h"

#include <systemd/sd-bus.h>

#include <cstring>

namespace Host {

namespace {

std::string textOrNothing(const char* text)
{
    return text ? text : "";
}

template <class T>
BusValue readNumber(sd_bus_message* message, char type)
{
    T value = {};
    return sd_bus_message_read_basic(message, type, &value) > 0 ? BusValue(value) : BusValue();
}

BusValue readText(sd_bus_message* message, char type)
{
    const char* text = nullptr;
    if (sd_bus_message_read_basic(message, type, &text) <= 0) {
        return {};
    }
    return type == SD_BUS_TYPE_OBJECT_PATH ? BusValue(ObjectPath{text}) : BusValue(std::string(text));
}

bool readBytes(sd_bus_message* message, Bytes& bytes)
{
    const void* data = nullptr;
    size_t size = 0;
    if (sd_bus_message_read_array(message, SD_BUS_TYPE_BYTE, &data, &size) < 0) {
        return false;
    }
    if (size > 0) {
        const auto* const first = static_cast<const uint8_t*>(data);
        bytes.assign(first, first + size);
    }
    return true;
}

template <class T>
BusValue readTexts(sd_bus_message* message, char type, const char* contents)
{
    std::vector<T> texts;
    const char* text = nullptr;
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, contents) <= 0) {
        return {};
    }
    while (sd_bus_message_read_basic(message, type, &text) > 0) {
        texts.push_back(T{text});
    }
    sd_bus_message_exit_container(message);
    return texts;
}

// a{qv}, of which only byte arrays are kept.
BusValue readByCompany(sd_bus_message* message)
{
    BytesByCompany all;
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{qv}") <= 0) {
        return {};
    }
    while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "qv") > 0) {
        uint16_t company = 0;
        Bytes bytes;
        sd_bus_message_read_basic(message, SD_BUS_TYPE_UINT16, &company);
        if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, "ay") > 0) {
            if (readBytes(message, bytes)) {
                all.emplace_back(company, std::move(bytes));
            }
            sd_bus_message_exit_container(message);
        } else {
            sd_bus_message_skip(message, "v");
        }
        sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
    return all;
}

BusValue readArray(sd_bus_message* message, const char* contents)
{
    Bytes bytes;
    if (std::strcmp(contents, "y") == 0) {
        return readBytes(message, bytes) ? BusValue(std::move(bytes)) : BusValue();
    }
    if (std::strcmp(contents, "s") == 0) {
        return readTexts<std::string>(message, SD_BUS_TYPE_STRING, contents);
    }
    if (std::strcmp(contents, "o") == 0) {
        return readTexts<ObjectPath>(message, SD_BUS_TYPE_OBJECT_PATH, contents);
    }
    if (std::strcmp(contents, "{qv}") == 0) {
        return readByCompany(message);
    }
    sd_bus_message_skip(message, (std::string("a") + contents).c_str());
    return {};
}

BusValue readAny(sd_bus_message* message)
{
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, &type, &contents) <= 0) {
        return {};
    }
    switch (type) {
        case SD_BUS_TYPE_BOOLEAN: {
            int flag = 0;
            return sd_bus_message_read_basic(message, type, &flag) > 0 ? BusValue(flag != 0) : BusValue();
        }
        case SD_BUS_TYPE_BYTE:
            return readNumber<uint8_t>(message, type);
        case SD_BUS_TYPE_INT16:
            return readNumber<int16_t>(message, type);
        case SD_BUS_TYPE_UINT16:
            return readNumber<uint16_t>(message, type);
        case SD_BUS_TYPE_INT32:
            return readNumber<int32_t>(message, type);
        case SD_BUS_TYPE_UINT32:
            return readNumber<uint32_t>(message, type);
        case SD_BUS_TYPE_INT64:
            return readNumber<int64_t>(message, type);
        case SD_BUS_TYPE_UINT64:
            return readNumber<uint64_t>(message, type);
        case SD_BUS_TYPE_DOUBLE:
            return readNumber<double>(message, type);
        case SD_BUS_TYPE_STRING:
        case SD_BUS_TYPE_OBJECT_PATH:
            return readText(message, type);
        case SD_BUS_TYPE_ARRAY:
            return readArray(message, contents);
        default:
            sd_bus_message_skip(message, nullptr);
            return {};
    }
}

// The type of a value in the letters of D-Bus, by its place in BusValue.
constexpr const char* kSignatures[] = {"",  "b", "y", "n", "q",  "i",  "u",  "x",
                                       "t", "d", "s", "o", "ay", "as", "ao", "a{qv}"};
static_assert(sizeof kSignatures / sizeof kSignatures[0] == std::variant_size_v<BusValue>, "each type has its letters");

}  // namespace

BusMessage BusMessage::share(sd_bus_message* message)
{
    return BusMessage(sd_bus_message_ref(message));
}

BusMessage::BusMessage(const BusMessage& other) : mMessage(sd_bus_message_ref(other.mMessage)), mError(other.mError) {}

BusMessage::BusMessage(BusMessage&& other) noexcept
    : mMessage(std::exchange(other.mMessage, nullptr)), mError(std::move(other.mError))
{
}

BusMessage& BusMessage::operator=(BusMessage other) noexcept
{
    std::swap(mMessage, other.mMessage);
    std::swap(mError, other.mError);
    return *this;
}

BusMessage::~BusMessage()
{
    sd_bus_message_unref(mMessage);
}

BusError BusMessage::error() const
{
    if (mError || !mMessage) {
        return mError ? mError : BusError{SD_BUS_ERROR_FAILED, "no message"};
    }
    const sd_bus_error* const error = sd_bus_message_get_error(mMessage);
    return error ? BusError{textOrNothing(error->name), textOrNothing(error->message)} : BusError();
}

std::string BusMessage::path() const
{
    return mMessage ? textOrNothing(sd_bus_message_get_path(mMessage)) : "";
}

std::string BusMessage::interface() const
{
    return mMessage ? textOrNothing(sd_bus_message_get_interface(mMessage)) : "";
}

std::string BusMessage::member() const
{
    return mMessage ? textOrNothing(sd_bus_message_get_member(mMessage)) : "";
}

std::string BusMessage::sender() const
{
    return mMessage ? textOrNothing(sd_bus_message_get_sender(mMessage)) : "";
}

BusValue BusMessage::read()
{
    if (!mMessage) {
        return {};
    }
    char type = 0;
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(mMessage, &type, &contents) > 0 && type == SD_BUS_TYPE_VARIANT) {
        const std::string inner = textOrNothing(contents);
        if (!enter(SD_BUS_TYPE_VARIANT, inner.c_str())) {
            return {};
        }
        BusValue value = readAny(mMessage);
        leave();
        return value;
    }
    return readAny(mMessage);
}

bool BusMessage::read(BusProperties& properties)
{
    if (!enter(SD_BUS_TYPE_ARRAY, "{sv}")) {
        return false;
    }
    while (enter(SD_BUS_TYPE_DICT_ENTRY, "sv")) {
        std::string name;
        read(name);
        properties[name] = read();
        leave();
    }
    return leave();
}

bool BusMessage::read(BusInterfaces& interfaces)
{
    if (!enter(SD_BUS_TYPE_ARRAY, "{sa{sv}}")) {
        return false;
    }
    while (enter(SD_BUS_TYPE_DICT_ENTRY, "sa{sv}")) {
        std::string name;
        read(name);
        read(interfaces[name]);
        leave();
    }
    return leave();
}

bool BusMessage::read(BusObjects& objects)
{
    if (!enter(SD_BUS_TYPE_ARRAY, "{oa{sa{sv}}}")) {
        return false;
    }
    while (enter(SD_BUS_TYPE_DICT_ENTRY, "oa{sa{sv}}")) {
        ObjectPath path;
        read(path);
        read(objects[path.path]);
        leave();
    }
    return leave();
}

BusMessage& BusMessage::append(const BusValue& value)
{
    const char* const signature = kSignatures[value.index()];
    const auto appendOne = [this, signature](const auto& inner) {
        using T = std::decay_t<decltype(inner)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
            note(-EINVAL);
        } else if constexpr (std::is_same_v<T, bool>) {
            const int flag = inner;
            appendBasic(signature[0], &flag);
        } else if constexpr (std::is_arithmetic_v<T>) {
            appendBasic(signature[0], &inner);
        } else if constexpr (std::is_same_v<T, std::string>) {
            appendBasic(signature[0], inner.c_str());
        } else if constexpr (std::is_same_v<T, ObjectPath>) {
            appendBasic(signature[0], inner.path.c_str());
        } else if constexpr (std::is_same_v<T, Bytes>) {
            if (mMessage) {
                note(sd_bus_message_append_array(mMessage, SD_BUS_TYPE_BYTE, inner.data(), inner.size()));
            }
        } else if constexpr (std::is_same_v<T, BytesByCompany>) {
            open(SD_BUS_TYPE_ARRAY, signature + 1);
            for (const auto& [company, bytes] : inner) {
                open(SD_BUS_TYPE_DICT_ENTRY, "qv");
                append(BusValue(company)).appendVariant(bytes);
                close();
            }
            close();
        } else {
            open(SD_BUS_TYPE_ARRAY, signature + 1);
            for (const auto& text : inner) {
                append(BusValue(text));
            }
            close();
        }
    };
    std::visit(appendOne, value);
    return *this;
}

BusMessage& BusMessage::appendVariant(const BusValue& value)
{
    open(SD_BUS_TYPE_VARIANT, kSignatures[value.index()]);
    append(value);
    close();
    return *this;
}

BusMessage& BusMessage::append(const BusProperties& properties)
{
    open(SD_BUS_TYPE_ARRAY, "{sv}");
    for (const auto& [name, value] : properties) {
        open(SD_BUS_TYPE_DICT_ENTRY, "sv");
        append(BusValue(name)).appendVariant(value);
        close();
    }
    close();
    return *this;
}

BusMessage& BusMessage::append(const BusInterfaces& interfaces)
{
    open(SD_BUS_TYPE_ARRAY, "{sa{sv}}");
    for (const auto& [name, properties] : interfaces) {
        open(SD_BUS_TYPE_DICT_ENTRY, "sa{sv}");
        append(BusValue(name)).append(properties);
        close();
    }
    close();
    return *this;
}

BusMessage& BusMessage::append(const BusObjects& objects)
{
    open(SD_BUS_TYPE_ARRAY, "{oa{sa{sv}}}");
    for (const auto& [path, interfaces] : objects) {
        open(SD_BUS_TYPE_DICT_ENTRY, "oa{sa{sv}}");
        append(BusValue(ObjectPath{path})).append(interfaces);
        close();
    }
    close();
    return *this;
}

bool BusMessage::enter(char type, const char* contents)
{
    return mMessage && sd_bus_message_enter_container(mMessage, type, contents) > 0;
}

bool BusMessage::leave()
{
    return sd_bus_message_exit_container(mMessage) >= 0;
}

void BusMessage::open(char type, const char* contents)
{
    if (mMessage && !mError) {
        note(sd_bus_message_open_container(mMessage, type, contents));
    }
}

void BusMessage::close()
{
    if (mMessage && !mError) {
        note(sd_bus_message_close_container(mMessage));
    }
}

void BusMessage::appendBasic(char type, const void* value)
{
    if (mMessage && !mError) {
        note(sd_bus_message_append_basic(mMessage, type, value));
    }
}

void BusMessage::note(int result)
{
    if (result < 0 && !mError) {
        mError = {SD_BUS_ERROR_INVALID_ARGS, "the message cannot be made"};
    }
}

}  // namespace Host
