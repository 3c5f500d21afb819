// Objects of this program that others on the bus may look at and call.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "Host/Bus.h"

namespace Host {

struct BusInterface {
    /** To be answered with Bus::reply(), send(newReply()) or replyError(), now or later; a copy of the call may be
     * kept. */
    using Method = std::function<void(BusMessage& call)>;

    BusProperties properties = {};
    std::map<std::string, Method> methods = {};
};

/** A root with an object manager, and objects below it. Properties are only changed from here. */
class BusTree {
public:
    BusTree(Bus& bus, std::string root);

    /** Adds interfaces to an object or replaces them, and tells those who listen. */
    void add(const std::string& path, const std::map<std::string, BusInterface>& interfaces);
    /** With everything below it. */
    void remove(const std::string& path);
    /** Changes properties, and tells it: once for each call, even when the values are what they were. */
    void change(const std::string& path, const std::string& interface, const BusProperties& changed);
    /** Takes a property away. */
    void drop(const std::string& path, const std::string& interface, const std::string& property);
    bool has(const std::string& path, const std::string& interface) const;
    /** Null when there is no such interface. */
    const BusProperties* properties(const std::string& path, const std::string& interface) const;

private:
    bool answer(BusMessage& call);
    bool answerProperties(BusMessage& call);
    BusInterface* findInterface(const std::string& path, const std::string& interface);

    Bus& mBus;
    std::string mRoot;
    std::map<std::string, std::map<std::string, BusInterface>> mObjects;  // by path
    BusSlot mSlot;
};

}  // namespace Host
