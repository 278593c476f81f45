#pragma once

#include <filesystem>
#include <string>

// The drivers of LAN-over-USB devices, and how the kernel gets one.

bool IsUsbNetworkDriver(const std::string& driver);

// The name of the driver of a device, by its folder in sysfs; empty when it has none.
std::string DriverOf(const std::filesystem::path& device);

// Has the kernel's own program load what drives a device, by the alias that the device shows; false
// when that is not, or not only, a LAN-over-USB driver, or when the program cannot be run. What it
// complains about goes to standard error.
bool LoadUsbNetworkDriver(const std::string& modalias);
