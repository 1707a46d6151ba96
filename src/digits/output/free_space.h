// What is said of the space that digits need.
#pragma once

#include <string>

#include "base/names/names.h"
#include "os/types.h"
#include "os/volume.h"

namespace kalvor {

// "1.00 GiB", inside a sentence.
std::string bytes_text(u64 bytes);

// Empty when the volume has the space, or does not say.
std::string shortage(const os::VolumeSpace& space, u64 needed);

}  // namespace kalvor
