/*
 * Vela JPEG: the encoder's primitives, usable on their own.
 *
 * Tables, the forward transform and the input routines of the encoder, for hosts that build their
 * own pipeline or want to look at one step. They allocate nothing, keep nothing between calls, may
 * be called from any thread, and check none of their arguments unless it is said: pointers must
 * address as many elements as stated. No alignment beyond that of the element type is needed, and
 * not one byte outside the elements stated is read or written.
 *
 * Orders of the 64 coefficients of a block, u being the horizontal and v the vertical frequency:
 *   natural     element 8 * v + u, row by row, as ITU-T T.81 draws them
 *   transposed  element 8 * u + v, as the forward transform leaves them
 *   zigzag      the order of T.81 Figure A.6
 *
 * Names: 8u, 16u, 16s: element type; C1, C3: channels per pixel; P3R: three planes with row steps;
 * LS: level shift by 128; MCU: one MCU; 411: 4:2:0; _I: in place; _NEON: the version for the vector
 * unit, present on every machine, with the same results as its plain namesake.
 */
#ifndef VELA_PRIMITIVES_H
#define VELA_PRIMITIVES_H

#include "vela/jpegenc.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------- quantization tables */

/* Position of the k-th coefficient in zigzag order: natural and transposed (T.81 Figure A.6). */
VELA_API extern const uint8_t _nIZigZagIndex[64];
VELA_API extern const uint8_t _ntIZigZagIndex[64];

/* Scale factor of a quality, in units of 1/128: 6400 for quality 1 and below, 128 for 50, 0 for 100
 * and above. */
VELA_API int32_t velaCalcQuantQualityFactor_JPEG(int32_t quality);

/* Scales a base table: out[i] = (scale * base[i] + 64) >> 7, clamped to 1..255. All tables natural;
 * the product must fit 32 bits. Returns 0. */
VELA_API int32_t czBuildEnQuantTable(int32_t scale, const int16_t base[64], uint8_t out[64]);

/* Reciprocals for veliDCTQuantFwd_JPEG_16s from quantizers: natural 1..255 in, transposed 1..30274
 * out. The transform's own scale factors are folded in. Returns 0. */
VELA_API int32_t veliDCTQuantFwdTableInit_JPEGENC_8u16u(const uint8_t q[64], uint16_t out[64]);

/* Multipliers for a scaled inverse transform, from quantizers; both tables natural. Returns 0. */
VELA_API int32_t veliDCTQuantInvTableInit_JPEGENC_8u16u(const uint8_t q[64], uint32_t out[64]);

/* ------------------------------------------------------------------------------ Huffman tables */

/* A code table indexed by symbol: the code, right-aligned, in bits 0..15, its length (1..16) in
 * bits 16..31; 0 for a symbol without a code. */
typedef struct EncodeHuffmanSpec {
    uint32_t entry[256];
} EncodeHuffmanSpec;

/* Builds a code table from BITS (bits[i] codes of length i + 1) and HUFFVAL (one symbol per code),
 * T.81 Annex C. A BITS list of more than 256 codes is cut after the 256th, one of none gives a
 * table of zeros; of vals, no more than that many elements are read. A repeated symbol keeps its
 * last code. Returns 0. */
VELA_API int32_t veliEncodeHuffmanSpecInit_JPEGENC_8u(const uint8_t bits[16], const uint8_t vals[],
                                                      EncodeHuffmanSpec* spec);

/* Stores 1024, the bytes of an EncodeHuffmanSpec, to *size. Returns 0. */
VELA_API int32_t veliEncodeHuffmanSpecGetBufSize_JPEGENC_8u(int32_t* size);

/* Stores 1328, the bytes set aside for the state of one progressive scan's coder, to *size.
 * Returns 0. */
VELA_API int32_t veliEncodeHuffmanStateGetBufSize_JPEGENC_8u(int32_t* size);

/* Resets such a state: sets its first four words to 0. Returns 0. */
VELA_API int32_t veliEncodeHuffmanStateInit_JPEGENC_8u(uint32_t* state);

/* The like for a decoder's table (1644 bytes) and state (12 bytes: three words, set to 0 by the
 * third routine). They return 0. */
VELA_API int32_t veliDecodeHuffmanSpecGetBufSize_JPEGENC_8u(int32_t* size);
VELA_API int32_t veliDecodeHuffmanStateGetBufSize_JPEG_8u(int32_t* size);
VELA_API int32_t veliDecodeHuffmanStateInit_JPEG_8u(uint32_t* state);

/* -------------------------------------------------------------------------- forward transform */

/* Forward 8 x 8 DCT (T.81 A.3.3, 16-bit fixed point) and quantization of one block: 64
 * level-shifted samples row by row in, 64 quantized coefficients transposed out. table is one that
 * veliDCTQuantFwdTableInit_JPEGENC_8u16u built, its entries read as signed (they are 1..32767).
 * pDst may equal pSrc. Both return 0. */
VELA_API int32_t veliDCTQuantFwd_JPEG_16s_I(int16_t* pSrcDst, const int16_t* pQuantFwdTable);
VELA_API int32_t veliDCTQuantFwd_JPEG_16s(const int16_t* pSrc, const int16_t* pQuantFwdTable,
                                          int16_t* pDst);

/* ------------------------------------------------------------------------- input of whole MCUs
 *
 * One MCU of source samples becomes blocks of 64 level-shifted samples (-128..127), row by row
 * inside a block: pDst[0] addresses the 1 (grey, 4:4:4), 2 (4:2:2) or 4 (4:2:0) luminance blocks,
 * one after another in raster order, pDst[1] the Cb block and pDst[2] the Cr block (not used for
 * grey).
 */

/* pSrc: the MCU's top-left pixel; srcStep: bytes from row to row, may be negative.
 *
 * Packed pixels become Y = (77 R + 150 G + 29 B) >> 8, Cb = (128 B - 43 R - 85 G) >> 8 and
 * Cr = (128 R - 107 G - 21 B) >> 8, the JFIF conversion with rounded coefficients; a chroma sample
 * that covers 2 or 4 pixels is computed from their sum and divided by 2 or 4 more. Five- and
 * six-bit fields are widened by zero bits. */
typedef void VelaConvertMcu(const void* pSrc, int32_t srcStep, int16_t* const pDst[3]);

VELA_API VelaConvertMcu _veliLevelShiftSub128_8x8_8u16s_C1; /* grey, 8 x 8 */

VELA_API VelaConvertMcu veliBGRToYCbCr444LS_MCU_8u16s_C3P3R; /* 8 x 8 */
VELA_API VelaConvertMcu veliBGRToYCbCr422LS_MCU_8u16s_C3P3R; /* 16 x 8 */
VELA_API VelaConvertMcu veliBGRToYCbCr411LS_MCU_8u16s_C3P3R; /* 16 x 16 */
VELA_API VelaConvertMcu veliBGR565ToYCbCr444LS_MCU_16u16s_C3P3R;
VELA_API VelaConvertMcu veliBGR565ToYCbCr422LS_MCU_16u16s_C3P3R;
VELA_API VelaConvertMcu veliBGR565ToYCbCr411LS_MCU_16u16s_C3P3R;
VELA_API VelaConvertMcu veliBGR555ToYCbCr444LS_MCU_16u16s_C3P3R;
VELA_API VelaConvertMcu veliBGR555ToYCbCr422LS_MCU_16u16s_C3P3R;
VELA_API VelaConvertMcu veliBGR555ToYCbCr411LS_MCU_16u16s_C3P3R;

/* pSrc: the MCU's top-left sample in each plane (NV12, NV21: [0] Y, [1] the first chroma pair, [2]
 * not read); srcStep: bytes from row to row in each plane. */
typedef void VelaConvertMcuPlanar(const uint8_t* const pSrc[3], const int32_t srcStep[3],
                                  int16_t* const pDst[3]);

VELA_API VelaConvertMcuPlanar velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuPlanar velaYCbCr444ToYCbCr444LS_MCU_8u16s_P3R_JPEG_NEON;
VELA_API VelaConvertMcuPlanar velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuPlanar velaYCbCr422ToYCbCr422LS_MCU_8u16s_P3R_JPEG_NEON;
VELA_API VelaConvertMcuPlanar velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuPlanar velaYCbCr411ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON;
VELA_API VelaConvertMcuPlanar velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuPlanar velaNV12ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON;
VELA_API VelaConvertMcuPlanar velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuPlanar velaNV21ToYCbCr411LS_MCU_8u16s_P3R_JPEG_NEON;

/* ----------------------------------------------------------------------- input of partial MCUs
 *
 * An MCU of which only the left validWidth columns and the top validHeight rows (in luminance
 * pixels, at least 1, at most the MCU's size) lie inside the picture. The last valid column is
 * repeated to the right, then the last valid row downwards. Only valid samples are read.
 */

/* The like of VelaConvertMcuPlanar. Along a subsampled axis half the valid size, rounded down but
 * at least 1, counts for the chroma planes. */
typedef void VelaConvertMcuExpand(const uint8_t* const pSrc[3], const int32_t srcStep[3],
                                  int32_t validWidth, int32_t validHeight, int16_t* const pDst[3]);

VELA_API VelaConvertMcuExpand velaYCbCr444ToYCbCr444ExpandLS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuExpand velaYCbCr422ToYCbCr422ExpandLS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuExpand velaYCbCr411ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuExpand velaNV12ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG;
VELA_API VelaConvertMcuExpand velaNV21ToYCbCr411ExpandLS_MCU_8u16s_P3R_JPEG;

/* One block from the odd (Cb) or even (Cr) bytes of NV21 pairs; valid sizes 1..8, in pairs and
 * rows. */
typedef void VelaExpandBlock(const uint8_t* pSrc, int32_t srcStep, int32_t validWidth,
                             int32_t validHeight, int16_t* pDst);

VELA_API VelaExpandBlock velaExpandLS_Block_NV21_Cb_8u16s_JPEG;
VELA_API VelaExpandBlock velaExpandLS_Block_NV21_Cr_8u16s_JPEG;

/* One block from single samples; valid sizes 1..8. */
VELA_API VelaExpandBlock velaExpandLS_Block_8u16s_JPEG;

/* One block from samples that are level-shifted already; srcStep counts elements. */
VELA_API void velaExpand_Block_16s_JPEG(const int16_t* pSrc, int32_t srcStep, int32_t validWidth,
                                        int32_t validHeight, int16_t* pDst);

/* Copies validWidth x validHeight pixels and repeats the last column and row up to dstWidth x
 * dstHeight pixels, which are at least as large. Widths count pixels (of 1, 2 and 3 bytes), steps
 * bytes; srcStep may be negative. The valid rows stand dstStep apart, which is mostly dstWidth pixels.
 * Where it is not: the 1- and 2-byte routines repeat the last valid row with all of its dstStep bytes
 * (an even number of them for 2), and the 3-byte routine puts the repeated rows, of dstWidth pixels,
 * one right after another from dstStep after the last valid row on. They return 0. */
typedef int32_t VelaCopyExpand(const uint8_t* pSrc, int32_t srcStep, int32_t validWidth,
                               int32_t validHeight, uint8_t* pDst, int32_t dstStep,
                               int32_t dstWidth, int32_t dstHeight);

VELA_API VelaCopyExpand veliCopyExpand_8u_C1;
VELA_API VelaCopyExpand veliCopyExpand_16u_C1;
VELA_API VelaCopyExpand veliCopyExpand_8u_C3;

/* ------------------------------------------------------------------------------- plane copies */

/* Copy height rows of width bytes, 16-bit elements, or triples of bytes. Steps count bytes (those
 * of 16-bit elements are rounded down to even ones). A width or height below 1 copies nothing. */
VELA_API void czxCopy_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                             int32_t width, int32_t height);
VELA_API void czxCopy_16u_C1R(const uint16_t* pSrc, int32_t srcStep, uint16_t* pDst,
                              int32_t dstStep, int32_t width, int32_t height);
VELA_API void czxCopy_8u_C3R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                             int32_t width, int32_t height);

#ifdef __cplusplus
}
#endif

#endif
