// A generated picture with what makes encoding easy and hard: colour bars, gradients, edges,
// texture.
#ifndef VELA_CLI_DEMO_PICTURE_H
#define VELA_CLI_DEMO_PICTURE_H

#include <cstdint>

#include "frame.h"

namespace cli {

// The same bytes on every machine: integers only.
LoadedFrame makeDemoPicture(int32_t width, int32_t height);

} // namespace cli

#endif
