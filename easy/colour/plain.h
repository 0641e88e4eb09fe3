// The plain versions of the conversions, which all others equal.
#pragma once

#include "easy/colour/routines.h"

namespace vela::plain {

extern const ColourRoutines kColourRoutines;

} // namespace vela::plain
