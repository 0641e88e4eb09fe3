// The element velajpegenc: raw video in, a JPEG stream for each frame out.
#pragma once

#include <gst/video/gstvideoencoder.h>

G_BEGIN_DECLS

G_DECLARE_FINAL_TYPE(GstVelaJpegEnc, gst_vela_jpeg_enc, GST, VELA_JPEG_ENC, GstVideoEncoder)

GST_ELEMENT_REGISTER_DECLARE(velajpegenc)

G_END_DECLS
