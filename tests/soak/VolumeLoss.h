#pragma once

#include <cstddef>
#include <string>

namespace soak {

// Devices that are attached in this mount namespace, mounted or not.
std::size_t attachedDevices();

bool isMounted(const std::string& path);

// Takes every device and its volume away without a word to the program, as a power cut would.
// What the page cache still owes to a real disk stays, so it is no test of flushing.
void loseVolumes();

}  // namespace soak
