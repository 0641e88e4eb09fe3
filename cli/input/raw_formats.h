// The names of raw formats.
#ifndef VELA_CLI_INPUT_RAW_FORMATS_H
#define VELA_CLI_INPUT_RAW_FORMATS_H

#include <string>

#include "vela/easy.h"

namespace cli {

/// By our name, by ffmpeg's, or by the four characters of V4L2. Throws UsageError, which lists them.
VelaFormat rawFormat(const std::string& name);

/// Names and what they are, for --help: lines of "  name alias alias   what".
std::string rawFormatList();

} // namespace cli

#endif
