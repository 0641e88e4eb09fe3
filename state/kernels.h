// What every instruction set has of its own: one entry file per stage defines it, compiled once for each.
#pragma once

#include "cpu/isa.h"
#include "state/routines.h"

namespace vela::VELA_ISA {

extern const InputRoutines kInput;
TransformMcus transformMcus; // pixel/dct/kernel.cpp
PrepareCodes prepareCodes;   // the same, where there is one
EncodeMcus encodeMcus;       // tables/block_coder/kernel.cpp
PackAc packAc;

} // namespace vela::VELA_ISA
