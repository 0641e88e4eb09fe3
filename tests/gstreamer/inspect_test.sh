#!/bin/bash
# Usage: inspect_test.sh PAGE
# Holds what the page shows of pads and properties against what gst-inspect-1.0 says, and the element's rank against
# what the environment asks for. GST_PLUGIN_PATH and GST_REGISTRY are set by the caller.
set -euo pipefail
page=$1
export LC_ALL=C
unset GST_TRACERS GST_DEBUG GST_PLUGIN_FEATURE_RANK

# The pads, and the properties that are this element's own: those of its base classes are GStreamer's matter.
relevant() {
    sed -E 's/[[:space:]]+$//' | awk '
        /^Pad Templates:/ { part = "pads" }
        /^Element has/ { part = "" }
        /^Element Properties:/ { part = "properties"; own = 0; next }
        part == "properties" && /^  [a-z]/ { own = !/^  (name|parent|qos|min-force-key-unit-interval) / }
        part == "pads" || (part == "properties" && own)'
}

wrong=0
shown=$(sed -n '/^Pad Templates:/,/^```$/p' "$page" | sed '$d' | relevant)
says=$(gst-inspect-1.0 velajpegenc | relevant)
[[ $shown == *"SINK template"*"max-bytes"*"threads"* ]] || { echo "FAIL $page shows no pads or properties"; wrong=1; }
diff <(echo "$shown") <(echo "$says") || { echo "FAIL $page shows (<) what gst-inspect-1.0 does not say (>)"; wrong=1; }

rank() { gst-inspect-1.0 velajpegenc | sed -nE 's/^ *Rank +//p'; }
[[ $(rank) == "none (0)" ]] || { echo "FAIL the rank is $(rank)"; wrong=1; }
export GST_PLUGIN_FEATURE_RANK=velajpegenc:primary
[[ $(rank) == "primary (256)" ]] || { echo "FAIL the rank asked for is primary, and it is $(rank)"; wrong=1; }
exit $wrong
