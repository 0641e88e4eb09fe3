#include "support/walk_coefficients.h"

#include <gtest/gtest.h>

#include "pixel/picture_walk.h"

namespace test {
namespace {

/// Puts each MCU's blocks in their places.
class Recorder {
public:
    explicit Recorder(std::vector<Component>& components) : components_(components) {}

    vela::Status beginRow() {
        column_ = 0;
        return ENC_STATUS_OK;
    }

    vela::Status room(int32_t&) const { return ENC_STATUS_OK; }

    vela::Status take(const vela::BlockSpec& blocks, int32_t count, int32_t, int32_t) {
        for (int32_t m = 0; m < count; m++)
            record(blocks, m);
        return ENC_STATUS_OK;
    }

    vela::Status endRow() {
        row_++;
        return ENC_STATUS_OK;
    }

private:
    void record(const vela::BlockSpec& blocks, int32_t mcu) {
        int32_t block = 0;
        for (Component& component : components_)
            for (int y = 0; y < component.v; y++)
                for (int x = 0; x < component.h; x++)
                    place(component, column_ * component.h + x, row_ * component.v + y,
                          blockOf(blocks, mcu, block++));
        column_++;
    }

    static void place(Component& component, int x, int y, const int16_t* transposed) {
        Block& block = component.blocks[static_cast<size_t>(y * component.blocksAcross + x)];
        for (size_t i = 0; i < 64; i++)
            block[i] = transposed[8 * (i % 8) + i / 8];
    }

    std::vector<Component>& components_;
    int column_ = 0;
    int row_ = 0;
};

} // namespace

namespace {

/// Whether a block of the MCU grid lies in the component's own, which scans of one component cover.
bool inOwnGrid(const TestPicture& picture, const Component& component, size_t block) {
    const auto blocks = [](int size, int most, int factor) {
        return ((size * factor + most - 1) / most + 7) / 8;
    };
    const int x = static_cast<int>(block) % component.blocksAcross;
    const int y = static_cast<int>(block) / component.blocksAcross;
    return x < blocks(picture.width(), picture.format().h(), component.h) &&
           y < blocks(picture.height(), picture.format().v(), component.v);
}

} // namespace

std::vector<Component> walkCoefficients(const EncoderParams_JPEG& params,
                                        const TestPicture& picture) {
    Host host;
    std::vector<uint8_t> header(1 << 12);
    Bitstream_JPEG stream{header.data(), static_cast<int32_t>(header.size()), nullptr, 0};
    const Picture_JPEG record = picture.record();
    const CallbackTable_JPEG callbacks = host.callbacks();
    EncoderState_JPEG* state = nullptr;
    std::vector<Component> components;
    if (EncoderInitAlloc_JPEG(&params, &record, &stream, &callbacks, &state) == ENC_STATUS_OK) {
        const int mcusAcross =
            state->mcuSpec.mcusAcross + (state->mcuSpec.widthRemainder > 0 ? 1 : 0);
        const int mcusDown = state->mcuSpec.mcuCount / mcusAcross;
        for (int k = 0; k < state->imageSpec.componentCount; k++) {
            const vela::ComponentSpec& spec = state->componentSpec[k];
            Component component{spec.hFactor,
                                spec.vFactor,
                                mcusAcross * spec.hFactor,
                                mcusDown * spec.vFactor,
                                {},
                                {}};
            component.blocks.resize(
                static_cast<size_t>(component.blocksAcross * component.blocksDown));
            std::copy_n(state->quantTables + 64 * spec.quantSelector, 64,
                        component.quantizers.begin());
            components.push_back(component);
        }
        Recorder recorder(components);
        EXPECT_EQ(vela::walkPicture(*state, vela::IntegratedRows(*state), recorder), ENC_STATUS_OK);
    }
    EncoderFree_JPEG(&state);
    return components;
}

std::vector<Component> codedCoefficients(const EncoderParams_JPEG& params,
                                         const TestPicture& picture) {
    std::vector<Component> components = walkCoefficients(params, picture);
    if (params.mode == ENC_MODE_PROGRESSIVE)
        for (Component& component : components)
            for (size_t b = 0; b < component.blocks.size(); b++)
                if (!inOwnGrid(picture, component, b)) // DC scans alone
                    std::fill(component.blocks[b].begin() + 1, component.blocks[b].end(),
                              int16_t{0});
    return components;
}

} // namespace test
