// Every exported primitive with arguments that its contract allows, on memory of the exact size. What it gives is
// held against a second way to it: its plain namesake, the definition, or the same in another order.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "cpu/cpu_features.h"
#include "fuzz/input.h"
#include "support/mcus.h"
#include "vela/primitives.h"

namespace {

using namespace vela;
using fuzz::Input;
using fuzz::require;
using test::asWords;
using test::Guarded;

/// Rows of samples with gaps between them, from the fuzzer's bytes; upside down where wanted.
struct Plane {
    Guarded memory;
    int32_t step;
    const uint8_t* first; // top left

    Plane(Input& input, int32_t rowBytes, int32_t rows, int32_t unit = 1, bool mayBeNegative = true)
        : step(rowBytes + unit * input.integer(0, 5)) {
        memory = Guarded(static_cast<size_t>(step * (rows - 1) + rowBytes), 2);
        fuzz::fill({memory.data(), memory.size()}, input.rest());
        first = memory.data();
        if (mayBeNegative && input.flag()) {
            first += step * (rows - 1);
            step = -step;
        }
    }
    const uint8_t* row(int32_t y) const { return first + ptrdiff_t{step} * y; }
};

/// The blocks of an MCU, each component's in memory of its own.
struct Blocks {
    Guarded memory[3];
    int16_t* dst[3];

    Blocks(int32_t luma, bool chroma) {
        for (int k = 0; k < 3; k++) {
            memory[k] = Guarded(static_cast<size_t>(128 * (k == 0 ? luma : chroma ? 1 : 0)), 2);
            dst[k] = reinterpret_cast<int16_t*>(memory[k].data());
        }
    }
    bool operator==(const Blocks& other) const {
        return std::equal(memory, memory + 3, other.memory, [](const Guarded& a, const Guarded& b) {
            return fuzz::alike(asWords(a), asWords(b));
        });
    }
    void check() {
        require(memory[0].intact() && memory[1].intact() && memory[2].intact(),
                "nothing is written beside the blocks");
        for (const Guarded& component : memory)
            for (const int16_t sample : asWords(component))
                require(sample >= -128 && sample <= 127, "samples are of 8 bits");
    }
};

void packed(Input& input) {
    const int32_t layout = input.integer(0, 3), across = input.integer(0, 2); // 4:4:4, 4:2:2, 4:2:0
    VelaConvertMcu* const plain[4][3] = {
        {veliBGRToYCbCr444LS_MCU_8u16s_C3P3R, veliBGRToYCbCr422LS_MCU_8u16s_C3P3R,
         veliBGRToYCbCr411LS_MCU_8u16s_C3P3R},
        {veliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R, veliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R,
         veliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R},
        {veliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R, veliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R,
         veliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R},
        {_veliLevelShiftSub128_8x8_8u16s_C1, _veliLevelShiftSub128_8x8_8u16s_C1,
         _veliLevelShiftSub128_8x8_8u16s_C1}};
    const RoutineTable& routines = fuzz::anyInstructionSet(input);
    const InputRoutines& own = *routines.input;
    const SinglePlaneInput* const vector[4] = {&own.bgr888, &own.bgr565, &own.bgr555, &own.grey};
    const bool grey = layout == 3;
    const int32_t h = across > 0 && !grey ? 2 : 1, v = across > 1 && !grey ? 2 : 1;
    const int32_t bytes = layout == 0 ? 3 : grey ? 1 : 2;
    const Plane plane(input, 8 * h * bytes, 8 * v, bytes == 2 ? 2 : 1);
    Blocks expected(h * v, !grey), actual(h * v, !grey);
    plain[layout][across](plane.first, plane.step, expected.dst);
    VelaConvertMcu* const routine = (*vector[layout])[grey ? 0 : across];
    if (routine != nullptr) {
        routine(plane.first, plane.step, actual.dst);
        require(expected == actual, "vectors give what the plain routine gives");
    }
    expected.check();
    actual.memory[0].intact();
}

struct PlanarKind {
    VelaConvertMcuPlanar *plain, *neon;
    VelaConvertMcuExpand* expand;
    int32_t h, v;
    bool pairs;
};
constexpr PlanarKind kPlanar[] = {
    {velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG, velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG_NEON,
     velaYCbCr444ToYCbCr444ExpandLS_MCU_8u16s_P3R_JPEG, 1, 1, false},
    {velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG, velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG_NEON,
     velaYCbCr422ToYCbCr422ExpandLS_MCU_8u16s_P3R_JPEG, 2, 1, false},
    {velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG, velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON,
     velaYCbCr411ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG, 2, 2, false},
    {velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG, velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON,
     velaNV12ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG, 2, 2, true},
    {velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG, velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON,
     velaNV21ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG, 2, 2, true},
};

/// A partial MCU is a whole one of which the last column and row are repeated first.
void planar(Input& input) {
    const PlanarKind& kind = kPlanar[input.integer(0, 4)];
    const int32_t width = input.integer(1, 8 * kind.h), height = input.integer(1, 8 * kind.v);
    const int32_t columns = std::max(width / kind.h, 1), rows = std::max(height / kind.v, 1);
    const int32_t pair = kind.pairs ? 2 : 1;
    const Plane partial[3] = {Plane(input, width, height), Plane(input, pair * columns, rows),
                              Plane(input, columns, rows)};
    Guarded whole[3];
    const uint8_t *from[3], *wholeFrom[3];
    int32_t steps[3], wholeSteps[3];
    for (int p = 0; p < 3; p++) {
        const int32_t unit = p == 1 ? pair : 1, across = p == 0 ? 8 * kind.h : 8;
        const int32_t down = p == 0 ? 8 * kind.v : 8;
        whole[p] = Guarded(static_cast<size_t>(across * unit * down));
        for (int32_t y = 0; y < down; y++)
            for (int32_t x = 0; x < across; x++)
                std::memcpy(whole[p].data() + (y * across + x) * unit,
                            partial[p].row(std::min(y, (p == 0 ? height : rows) - 1)) +
                                std::min(x, (p == 0 ? width : columns) - 1) * unit,
                            static_cast<size_t>(unit));
        from[p] = partial[p].first;
        steps[p] = partial[p].step;
        wholeFrom[p] = whole[p].data();
        wholeSteps[p] = across * unit;
    }
    Blocks expected(kind.h * kind.v, true), vector(kind.h * kind.v, true),
        expanded(kind.h * kind.v, true);
    kind.plain(wholeFrom, wholeSteps, expected.dst);
    kind.neon(wholeFrom, wholeSteps, vector.dst);
    kind.expand(from, steps, width, height, expanded.dst);
    require(expected == vector, "the vector unit's version gives the same");
    require(expected == expanded, "a partial MCU is one whose edges are repeated");
    expected.check();
    vector.check();
    expanded.check();
}

void expandedBlocks(Input& input) {
    const int32_t width = input.integer(1, 8), height = input.integer(1, 8),
                  kind = input.integer(0, 3);
    const int32_t unit = kind == 2 ? 1 : 2;
    const Plane plane(input, width * unit, height, unit);
    Guarded block(128, 2);
    auto* const dst = reinterpret_cast<int16_t*>(block.data());
    VelaExpandBlock* const routines[] = {velaExpandLS_Block_NV21_Cb_8u16s_JPEG,
                                         velaExpandLS_Block_NV21_Cr_8u16s_JPEG,
                                         velaExpandLS_Block_8u16s_JPEG};
    if (kind < 3)
        routines[kind](plane.first, plane.step, width, height, dst);
    else
        velaExpand_Block_16s_JPEG(reinterpret_cast<const int16_t*>(plane.first), plane.step / 2,
                                  width, height, dst);
    for (int32_t i = 0; i < 64; i++) {
        const uint8_t* const at =
            plane.row(std::min(i / 8, height - 1)) + std::min(i % 8, width - 1) * unit;
        int16_t word;
        std::memcpy(&word, at, unit == 2 ? 2 : 1);
        require(dst[i] == (kind == 3 ? word : at[kind == 0 ? 1 : 0] - 128), "an expanded sample");
    }
    require(block.intact(), "nothing is written beside the block");
}

void copyExpand(Input& input) {
    const int32_t bytes = input.integer(1, 3), unit = bytes == 2 ? 2 : 1;
    const int32_t width = input.integer(1, 40), height = input.integer(1, 20);
    const int32_t toWidth = width + input.integer(0, 20), toHeight = height + input.integer(0, 20);
    const Plane plane(input, width * bytes, height, unit);
    const int32_t step = toWidth * bytes + unit * (input.flag() ? input.integer(0, 7) : 0);
    // The 3-byte routine closes up after the valid rows, the others go on in steps.
    const int32_t repeated = toHeight - height;
    const size_t size =
        static_cast<size_t>(bytes == 3 && repeated > 0 ? step * height + toWidth * bytes * repeated
                            : repeated > 0             ? step * toHeight
                                                       : step * (toHeight - 1) + toWidth * bytes);
    Guarded out(size, 2);
    VelaCopyExpand* const routines[] = {veliCopyExpand_8u_C1, veliCopyExpand_16u_C1,
                                        veliCopyExpand_8u_C3};
    require(routines[bytes - 1](plane.first, plane.step, width, height, out.data(), step, toWidth,
                                toHeight) == 0,
            "0");
    for (int32_t y = 0; y < toHeight; y++) {
        const uint8_t* const row = y < height || bytes < 3 ? out.data() + ptrdiff_t{step} * y
                                                           : out.data() + ptrdiff_t{step} * height +
                                                                 (y - height) * toWidth * bytes;
        for (int32_t x = 0; x < toWidth * bytes; x++) {
            const int32_t column = std::min(x / bytes, width - 1);
            require(row[x] == plane.row(std::min(y, height - 1))[column * bytes + x % bytes],
                    "a pixel, copied or repeated");
        }
    }
    require(out.intact(), "nothing is written beside");
}

void copies(Input& input) {
    const int32_t kind = input.integer(0, 2), element = kind + 1;
    const int32_t width = input.integer(-2, 70), height = input.integer(-2, 20);
    const int32_t bytes = std::max(width, 0) * element, rows = std::max(height, 1);
    const int32_t unit = kind == 1 ? 2 : 1;
    const Plane plane(input, bytes, rows, unit);
    const int32_t step = bytes + unit * input.integer(0, 9);
    Guarded out(static_cast<size_t>(step * (rows - 1) + bytes), 2);
    const std::vector<uint8_t> before(out.data(), out.data() + out.size());
    const int32_t odd = kind == 1 && input.flag() ? 1 : 0; // steps of words are rounded down
    if (kind == 0)
        czxCopy_8u_C1R(plane.first, plane.step, out.data(), step, width, height);
    else if (kind == 1)
        czxCopy_16u_C1R(reinterpret_cast<const uint16_t*>(plane.first), plane.step,
                        reinterpret_cast<uint16_t*>(out.data()), step + odd, width, height);
    else
        czxCopy_8u_C3R(plane.first, plane.step, out.data(), step, width, height);
    for (size_t i = 0; i < out.size(); i++) {
        const int32_t y = static_cast<int32_t>(i) / std::max(step, 1),
                      x = static_cast<int32_t>(i) % std::max(step, 1);
        require(out.data()[i] == (x < bytes && y < height ? plane.row(y)[x] : before[i]),
                "copied, or left alone");
    }
    require(out.intact(), "nothing is written beside");
}

void sizesAndStates(Input& input) {
    int32_t sizes[4];
    veliEncodeHuffmanSpecGetBufSize_JPEGENC_8u(&sizes[0]);
    veliEncodeHuffmanStateGetBufSize_JPEGENC_8u(&sizes[1]);
    veliDecodeHuffmanSpecGetBufSize_JPEGENC_8u(&sizes[2]);
    veliDecodeHuffmanStateGetBufSize_JPEG_8u(&sizes[3]);
    require(sizes[0] == 1024 && sizes[1] == 1328 && sizes[2] == 1644 && sizes[3] == 12,
            "sizes are what is written");
    Guarded states[2] = {Guarded(16, 4), Guarded(12, 4)};
    veliEncodeHuffmanStateInit_JPEGENC_8u(reinterpret_cast<uint32_t*>(states[0].data()));
    veliDecodeHuffmanStateInit_JPEG_8u(reinterpret_cast<uint32_t*>(states[1].data()));
    for (Guarded& state : states) {
        require(std::all_of(state.data(), state.data() + state.size(),
                            [](uint8_t b) { return b == 0; }),
                "words of 0");
        require(state.intact(), "nothing is written beside");
    }
    require(cpuFeatures() == cpuFeaturesByCpuid(), "the C library sees the processor that we see");
    CpuidWords words{input.any<uint32_t>(), input.any<uint32_t>(), input.any<uint32_t>(),
                     input.any<uint32_t>(), input.any<uint32_t>()};
    if (input.flag())
        words = {~0u, ~0u, ~0u, ~0u, ~(1u << input.integer(0, 31))};
    const uint32_t features = featuresOf(words);
    require((features & (features + 1)) == 0, "each feature comes with those before it");
}

void quantizers(Input& input) {
    const int32_t quality = input.any<int16_t>();
    const int32_t factor = velaCalcQuantQualityFactor_JPEG(quality);
    require(factor >= 0 && factor <= 6400, "a factor is within its range");
    const int32_t scale = input.flag() ? factor : input.integer(0, 65535);
    Guarded base(128, 2), table(64), forward(128, 2), inverse(256, 4);
    auto* const bases = reinterpret_cast<int16_t*>(base.data());
    for (int i = 0; i < 64; i++)
        bases[i] = input.integer<int16_t>(0, 32767);
    require(czBuildEnQuantTable(scale, bases, table.data()) == 0, "0");
    for (int i = 0; i < 64; i++)
        require(table.data()[i] ==
                    std::clamp((int64_t{scale} * bases[i] + 64) >> 7, int64_t{1}, int64_t{255}),
                "a scaled quantizer");
    auto* const reciprocals = reinterpret_cast<uint16_t*>(forward.data());
    veliDCTQuantFwdTableInit_JPEGENC_8u16u(table.data(), reciprocals);
    veliDCTQuantInvTableInit_JPEGENC_8u16u(table.data(),
                                           reinterpret_cast<uint32_t*>(inverse.data()));
    for (const int16_t reciprocal : asWords(forward))
        require(reciprocal >= 1 && reciprocal <= 30274, "a reciprocal is within its range");

    Guarded samples(128, 2), out(128, 2);
    auto* const block = reinterpret_cast<int16_t*>(samples.data());
    for (int i = 0; i < 64; i++)
        block[i] = input.integer<int16_t>(-128, 127);
    const auto* const signedTable = reinterpret_cast<const int16_t*>(forward.data());
    veliDCTQuantFwd_JPEG_16s(block, signedTable, reinterpret_cast<int16_t*>(out.data()));
    veliDCTQuantFwd_JPEG_16s_I(block, signedTable);
    require(fuzz::alike(asWords(samples), asWords(out)), "in place or not is the same");
    require(base.intact() && table.intact() && forward.intact() && inverse.intact() &&
                samples.intact() && out.intact(),
            "nothing is written beside");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Input input(bytes, size);
    input.choose({packed, planar, expandedBlocks, copyExpand, copies, sizesAndStates, quantizers})(
        input);
    return 0;
}
