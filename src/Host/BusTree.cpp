#include "Host/BusTree.h"

#include <vector>

namespace Host {

namespace {

constexpr char kManager[] = "org.freedesktop.DBus.ObjectManager";
constexpr char kProperties[] = "org.freedesktop.DBus.Properties";

bool isAtOrBelow(const std::string& path, const std::string& top)
{
    return path == top || path.compare(0, top.size() + 1, top + "/") == 0;
}

}  // namespace

BusTree::BusTree(Bus& bus, std::string root) : mBus(bus), mRoot(std::move(root))
{
    mSlot = mBus.serve(mRoot, [this](BusMessage& call) { return answer(call); });
}

void BusTree::add(const std::string& path, const std::map<std::string, BusInterface>& interfaces)
{
    BusInterfaces added;
    for (const auto& [name, interface] : interfaces) {
        mObjects[path][name] = interface;
        added[name] = interface.properties;
    }
    BusMessage signal = mBus.newSignal(mRoot, kManager, "InterfacesAdded");
    mBus.send(signal.append(BusValue(ObjectPath{path})).append(added));
}

void BusTree::remove(const std::string& path)
{
    for (auto at = mObjects.begin(); at != mObjects.end();) {
        if (!isAtOrBelow(at->first, path)) {
            ++at;
            continue;
        }
        std::vector<std::string> names;
        for (const auto& [name, interface] : at->second) {
            names.push_back(name);
        }
        BusMessage signal = mBus.newSignal(mRoot, kManager, "InterfacesRemoved");
        mBus.send(signal.append(BusValue(ObjectPath{at->first})).append(BusValue(names)));
        at = mObjects.erase(at);
    }
}

void BusTree::change(const std::string& path, const std::string& interface, const BusProperties& changed)
{
    BusInterface* const found = findInterface(path, interface);
    if (!found) {
        return;
    }
    for (const auto& [name, value] : changed) {
        found->properties[name] = value;
    }
    BusMessage signal = mBus.newSignal(path, kProperties, "PropertiesChanged");
    signal.append(BusValue(interface)).append(changed).append(BusValue(std::vector<std::string>()));
    mBus.send(signal);
}

void BusTree::drop(const std::string& path, const std::string& interface, const std::string& property)
{
    BusInterface* const found = findInterface(path, interface);
    if (!found || found->properties.erase(property) == 0) {
        return;
    }
    BusMessage signal = mBus.newSignal(path, kProperties, "PropertiesChanged");
    signal.append(BusValue(interface)).append(BusProperties()).append(BusValue(std::vector<std::string>{property}));
    mBus.send(signal);
}

bool BusTree::has(const std::string& path, const std::string& interface) const
{
    return properties(path, interface) != nullptr;
}

const BusProperties* BusTree::properties(const std::string& path, const std::string& interface) const
{
    BusInterface* const found = const_cast<BusTree*>(this)->findInterface(path, interface);
    return found ? &found->properties : nullptr;
}

BusInterface* BusTree::findInterface(const std::string& path, const std::string& interface)
{
    const auto object = mObjects.find(path);
    if (object == mObjects.end()) {
        return nullptr;
    }
    const auto found = object->second.find(interface);
    return found == object->second.end() ? nullptr : &found->second;
}

bool BusTree::answer(BusMessage& call)
{
    if (call.interface() == kManager && call.member() == "GetManagedObjects" && call.path() == mRoot) {
        BusObjects objects;
        for (const auto& [path, interfaces] : mObjects) {
            for (const auto& [name, interface] : interfaces) {
                objects[path][name] = interface.properties;
            }
        }
        mBus.send(mBus.newReply(call).append(objects));
        return true;
    }
    if (call.interface() == kProperties) {
        return answerProperties(call);
    }
    BusInterface* const found = findInterface(call.path(), call.interface());
    const auto method = found ? found->methods.find(call.member()) : decltype(found->methods.end())();
    if (!found || method == found->methods.end()) {
        return false;
    }
    // A method may remove its own object.
    const BusInterface::Method copy = method->second;
    copy(call);
    return true;
}

bool BusTree::answerProperties(BusMessage& call)
{
    std::string interface, property;
    call.read(interface);
    const BusProperties* const known = properties(call.path(), interface);
    if (!known) {
        return false;
    }
    if (call.member() == "GetAll") {
        mBus.send(mBus.newReply(call).append(*known));
        return true;
    }
    call.read(property);
    const auto at = known->find(property);
    if (call.member() == "Get" && at != known->end()) {
        mBus.send(mBus.newReply(call).appendVariant(at->second));
        return true;
    }
    return false;
}

}  // namespace Host
