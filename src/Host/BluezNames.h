// What BlueZ calls things.
#pragma once

namespace Host::Bluez {

inline constexpr char kService[] = "org.bluez";
inline constexpr char kAdapter[] = "org.bluez.Adapter1";
inline constexpr char kDevice[] = "org.bluez.Device1";
inline constexpr char kGattService[] = "org.bluez.GattService1";
inline constexpr char kCharacteristic[] = "org.bluez.GattCharacteristic1";
inline constexpr char kObjectManager[] = "org.freedesktop.DBus.ObjectManager";
inline constexpr char kProperties[] = "org.freedesktop.DBus.Properties";

}  // namespace Host::Bluez
