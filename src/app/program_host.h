// Chooses the host of a program by the name that its command line gives.
#pragma once

#include <string>

// "desktop", "headless", or empty for the one that fits. False for any other name, and for a
// desktop that this build or this machine does not have.
bool choose_host(const std::string& name);
