#include "cpu/cpu_features.h"
#include "cpu/instruction_sets.h"
#include "cpu/isa.h"
#include "easy/colour/plain.h"

namespace vela {

// Each one's table is made by easy/colour/kernel.cpp, save for the plain one.
#define VELA_DECLARE_ROUTINES(isa)               \
    namespace isa {                              \
    extern const ColourRoutines kColourRoutines; \
    }
VELA_INSTRUCTION_SETS(VELA_DECLARE_ROUTINES)

std::span<const ColourRoutines* const> colourRoutineTables() {
#define VELA_ROUTINES_OF(isa) &isa::kColourRoutines,
    static constexpr const ColourRoutines* kTables[] = {VELA_INSTRUCTION_SETS(VELA_ROUTINES_OF)};
    return kTables;
}

const ColourRoutines& colourRoutinesOfThisMachine() {
    const uint32_t features = cpuFeatures();
    for (const ColourRoutines* const routines : colourRoutineTables())
        if ((routines->requiredFeatures & ~features) == 0)
            return *routines;
    return plain::kColourRoutines;
}

} // namespace vela
