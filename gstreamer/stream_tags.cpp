#include "gstreamer/stream_tags.h"

#include <gst/video/video.h>

#include <algorithm>
#include <cstring>

namespace vela::gst {
namespace {

/// What a comment segment holds (ITU-T T.81, B.2.4.5).
constexpr gsize kMostComment = 65533;

/// The clockwise turns and flips that show a picture upright, in Exif's numbers.
int orientationOf(GstVideoOrientationMethod method) {
    switch (method) {
    case GST_VIDEO_ORIENTATION_IDENTITY:
        return 1;
    case GST_VIDEO_ORIENTATION_HORIZ:
        return 2;
    case GST_VIDEO_ORIENTATION_180:
        return 3;
    case GST_VIDEO_ORIENTATION_VERT:
        return 4;
    case GST_VIDEO_ORIENTATION_UL_LR:
        return 5;
    case GST_VIDEO_ORIENTATION_90R:
        return 6;
    case GST_VIDEO_ORIENTATION_UR_LL:
        return 7;
    case GST_VIDEO_ORIENTATION_90L:
        return 8;
    case GST_VIDEO_ORIENTATION_AUTO:
    case GST_VIDEO_ORIENTATION_CUSTOM:
        break;
    }
    return 0;
}

} // namespace

void StreamTags::take(GstTagList* tags) {
    gchar* comment = nullptr;
    if (gst_tag_list_get_string(tags, GST_TAG_COMMENT, &comment)) {
        gsize length = std::strlen(comment);
        if (length > kMostComment) // cut where a character ends
            length = gsize(g_utf8_find_prev_char(comment, comment + kMostComment + 1) - comment);
        comment_.assign(comment, length);
        g_free(comment);
    }
    GstVideoOrientationMethod method;
    if (gst_video_orientation_from_tag(tags, &method))
        orientation_ = orientationOf(method);
}

void StreamTags::clear() {
    comment_.clear();
    orientation_ = 0;
}

void StreamTags::set(VelaOptions& options) const {
    options.comment = comment_.c_str();
    options.orientation = orientation_;
}

} // namespace vela::gst
