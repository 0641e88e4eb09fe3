#include "support/jpeg_reader.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace test {
namespace {

struct ErrorManager {
    jpeg_error_mgr base;
    std::jmp_buf failed;
    char message[JMSG_LENGTH_MAX];
};

void onError(j_common_ptr info) {
    auto* const errors = reinterpret_cast<ErrorManager*>(info->err);
    errors->base.format_message(info, errors->message);
    std::longjmp(errors->failed, 1);
}

void onMessage(j_common_ptr info, int level) {
    if (level < 0) // a warning
        onError(info);
}

Component readComponent(jpeg_decompress_struct& info, jvirt_barray_ptr array, int index) {
    const jpeg_component_info& from = info.comp_info[index];
    const auto roundUp = [](JDIMENSION n, int factor) {
        const auto f = static_cast<JDIMENSION>(factor);
        return static_cast<int>((n + f - 1) / f * f);
    };
    Component component{};
    component.h = from.h_samp_factor;
    component.v = from.v_samp_factor;
    component.blocksAcross = roundUp(from.width_in_blocks, from.h_samp_factor);
    component.blocksDown = roundUp(from.height_in_blocks, from.v_samp_factor);
    for (size_t i = 0; i < 64; i++)
        component.quantizers[i] = from.quant_table->quantval[i];
    for (int y = 0; y < component.blocksDown; y++) {
        JBLOCKARRAY rows = info.mem->access_virt_barray(
            reinterpret_cast<j_common_ptr>(&info), array, static_cast<JDIMENSION>(y), 1, FALSE);
        for (int x = 0; x < component.blocksAcross; x++) {
            Block block;
            std::copy_n(rows[0][x], 64, block.begin());
            component.blocks.push_back(block);
        }
    }
    return component;
}

} // namespace

DecodedJpeg readCoefficients(const std::vector<uint8_t>& jpeg) {
    DecodedJpeg decoded{};
    jpeg_decompress_struct info{};
    ErrorManager errors{};
    info.err = jpeg_std_error(&errors.base);
    errors.base.error_exit = onError;
    errors.base.emit_message = onMessage;
    if (setjmp(errors.failed) != 0) {
        decoded.error = errors.message;
        jpeg_destroy_decompress(&info);
        return decoded;
    }
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, jpeg.data(), jpeg.size());
    jpeg_read_header(&info, TRUE);
    jvirt_barray_ptr* const arrays = jpeg_read_coefficients(&info);
    decoded.width = static_cast<int>(info.image_width);
    decoded.height = static_cast<int>(info.image_height);
    decoded.progressive = info.progressive_mode != FALSE;
    decoded.restartInterval = info.restart_interval;
    for (int i = 0; i < info.num_components; i++)
        decoded.components.push_back(readComponent(info, arrays[i], i));
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return decoded;
}

} // namespace test
