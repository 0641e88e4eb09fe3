// The element's properties.
#pragma once

#include <gst/gst.h>

#include "vela/easy.h"

namespace vela::gst {

struct Settings {
    gint quality = 85; // as of other JPEG elements, and what follows the range below
    gboolean snapshot = FALSE;
    gboolean progressive = FALSE;
    gint restartRows = -1;
    VelaSubsampling subsampling = VELA_SUBSAMPLING_AUTO;
    gint threads = 1;
    guint maxBytes = 0;

    /// Adds the properties to a class.
    static void install(GObjectClass* object);
    /// By a property's number; false: there is no such.
    bool set(guint id, const GValue* value);
    bool get(guint id, GValue* value) const;
    /// As the easy layer has them.
    VelaOptions options() const;
};

} // namespace vela::gst
