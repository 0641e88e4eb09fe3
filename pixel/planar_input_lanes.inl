// Planar and grey MCUs by their planes, on vectors. Included by each instruction set's file, inside its
// anonymous namespace, behind its convertBlock (one block) and convertWideLuma (the luminance blocks of
// an MCU 16 pixels wide).

void convertGrey(const void* src, int32_t step, int16_t* const dst[3]) {
    convertBlock(static_cast<const uint8_t*>(src), step, dst[0]);
}

void convertPlanar444(const uint8_t* const src[3], const int32_t step[3], int16_t* const dst[3]) {
    for (int32_t k = 0; k < 3; k++)
        convertBlock(src[k], step[k], dst[k]);
}

/// 4:2:2 (height 8) and 4:2:0 (height 16)
template <int32_t height>
void convertPlanarHalved(const uint8_t* const src[3], const int32_t step[3],
                         int16_t* const dst[3]) {
    convertWideLuma(src[0], step[0], height, dst[0]);
    convertBlock(src[1], step[1], dst[1]);
    convertBlock(src[2], step[2], dst[2]);
}
