#include "cli/option_table.h"

#include <sstream>
#include <vector>

#include "cli/input/raw_formats.h"
#include "vela/version.h"

namespace cli {
namespace {

constexpr const char *kOutput = "Output", *kEncoding = "Encoding", *kInput = "Input",
                     *kMany = "Many files", *kMetadata = "Metadata", *kOther = "Other";

constexpr Option kOptions[] = {
    {"output", 'o', "FILE", kOutput,
     "JPEG file to write; - is standard output; DIR/ is --out-dir DIR; with %d, as in "
     "frame-%05d.jpg, one file "
     "for each picture of the input, counted from 1",
     Completes::files},
    {"out-dir", '\0', "DIR", kOutput, "Write NAME.jpg for each input NAME.* into this folder",
     Completes::folders},
    {"mjpeg", '\0', nullptr, kOutput, "Write all pictures into one stream of JPEGs"},
    {"no-clobber", '\0', nullptr, kOutput, "Leave files that exist as they are, and go on"},
    {"force-name", '\0', nullptr, kOutput,
     "Write a JPEG even under another format's name, such as x.png"},
    {"sync", '\0', nullptr, kOutput, "Wait until each file is on the disk before it gets its name"},

    {"quality", 'q', "0..100", kEncoding, "Higher is better and larger [75]"},
    {"subsampling", 's', "444|422|420", kEncoding,
     "Chroma resolution; YCbCr input brings its own [420]", Completes::words, "444 422 420"},
    {"progressive", 'p', nullptr, kEncoding, "Progressive instead of baseline: smaller, slower"},
    {"restart", 'r', "N[B]", kEncoding,
     "MCU rows per restart interval, or with B MCUs; 0 for no restart markers [0]"},
    {"target-size", '\0', "BYTES", kEncoding,
     "The best quality up to --quality whose file has at most so many bytes; k and M for thousands "
     "and millions"},
    {"threads", '\0', "N", kEncoding,
     "Threads for each picture, 0 for all cores; cuts it at restart intervals, of one MCU row "
     "unless given [1]"},

    {"raw", '\0', "FORMAT", kInput,
     "INPUT holds raw frames, of --size, one after another; formats below", Completes::words,
     "gray rgb24 bgr24 rgb0 bgr0 0rgb 0bgr rgb565le rgb555le yuv420p yv12 yuv422p yuv444p nv12 "
     "nv21 nv16 nv61 yuyv422 "
     "yvyu422 uyvy422 vyuy422"},
    {"size", '\0', "WxH", kInput, "Pixels of a raw frame or the demo picture"},
    {"step", '\0', "N[,N[,N]]", kInput,
     "Bytes from row to row of each raw plane; negative where the bottom row comes first"},
    {"range", '\0', "full|limited", kInput,
     "Of raw and Y4M samples [raw: full; Y4M: as its tag says, else limited]", Completes::words,
     "full limited"},
    {"matrix", '\0', "601|709", kInput, "Of raw and Y4M samples [601]", Completes::words,
     "601 709"},
    {"background", '\0', "COLOUR", kInput,
     "Behind transparent pixels: #rrggbb, white, black or gray [white]"},
    {"max-pixels", '\0', "N", kInput, "Refuse pictures of more pixels [268435456]"},
    {"demo", '\0', nullptr, kInput, "Encode a generated test picture instead of INPUT"},

    {"recursive", '\0', nullptr, kMany,
     "Take the pictures of folders, and of the folders in them, by the names of their files"},
    {"jobs", 'j', "N", kMany,
     "Files at a time, with --out-dir; 0 for as many as there are cores [1]"},

    {"strip", '\0', nullptr, kMetadata,
     "Leave out what a PNG brings: colour profile, Exif, density"},
    {"exif", '\0', "FILE", kMetadata,
     "Exif block: a TIFF structure, with or without \"Exif\" before it", Completes::files},
    {"icc", '\0', "FILE", kMetadata, "ICC colour profile", Completes::files},
    {"comment", '\0', "TEXT", kMetadata, "Comment, in UTF-8"},
    {"density", '\0', "N[xM]", kMetadata, "Pixels per inch"},
    {"orientation", '\0', "1..8", kMetadata,
     "How to turn the picture for showing it, as Exif counts; in place of the Exif block that a "
     "PNG brings"},

    {"json", '\0', nullptr, kOther,
     "One object of facts per picture, on standard output, or on standard error where the JPEG "
     "goes there"},
    {"verbose", 'v', nullptr, kOther, "A line for each picture, of many as well"},
    {"quiet", '\0', nullptr, kOther, "No lines but errors"},
    {"help", 'h', nullptr, kOther, "Print this help"},
    {"version", '\0', nullptr, kOther, "Print the version"},
    {"man", '\0', nullptr, kOther, "Print the man page", Completes::nothing, "", true},
    {"completion", '\0', "SHELL", kOther, "Print the completion of bash, zsh or fish",
     Completes::words, "bash zsh fish", true},
    {"slice", '\0', nullptr, kOther, "Nothing: rows are always read as they are needed",
     Completes::nothing, "", true},
    {"buffer", '\0', "N", kOther, "Nothing: buffers have their sizes", Completes::nothing, "",
     true},
};

constexpr const char* kSynopsis[] = {"velajpeg [OPTION..] INPUT -o FILE",
                                     "velajpeg [OPTION..] INPUT.. --out-dir DIR"};

constexpr const char* kAbout =
    "Encodes pictures as JPEG. Input is known by its content: PNG, PBM, PGM and PPM (plain and "
    "raw, to 16 bits), "
    "PAM, Y4M; or raw frames. Gray input gives a gray JPEG. - is standard input.";

struct Example {
    const char *command, *what;
};
constexpr Example kExamples[] = {
    {"velajpeg photo.png -o photo.jpg", "quality 75, 4:2:0"},
    {"velajpeg photo.png -q 92 -s 444 -p -o photo.jpg",
     "higher quality, chroma in full, progressive"},
    {"velajpeg *.png --out-dir jpeg -j 0", "many files, on all cores"},
    {"velajpeg --raw nv12 --size 1920x1080 dump.nv12 -o f%04d.jpg", "frames of a camera"},
    {"ffmpeg -i in.mp4 -f yuv4mpegpipe - | velajpeg - --mjpeg -o out.mjpeg",
     "video, through a pipe"},
    {"velajpeg photo.png --target-size 200k -o small.jpg", "the best that fits 200,000 bytes"},
};

constexpr const char* kFrames =
    "A raw frame holds its planes one after another, without a header. Chroma that is halved "
    "across or down has "
    "(size + 1) / 2 columns or rows. --step includes padding, also of the last row; steps left out "
    "follow from the "
    "first, and rows without --step are tight. Names of ffmpeg and V4L2 are known as well, in "
    "capital letters or small ones:";

constexpr const char* kExit = "Exit codes: 0 done, 1 something failed (of many files, the others "
                              "are done), 2 wrong usage. A target appears when "
                              "it is whole: a run that fails leaves what was there.";

/// Text in lines of at most width columns, each after indent spaces but the first.
std::string wrap(const std::string& text, size_t width, size_t indent, size_t column) {
    std::istringstream words(text);
    std::string out, word;
    bool first = true;
    while (words >> word) {
        if (!first && column + 1 + word.size() > width) {
            out += "\n" + std::string(indent, ' ');
            column = indent;
        } else if (!first) {
            out += ' ';
            column++;
        }
        out += word;
        column += word.size();
        first = false;
    }
    return out;
}

std::vector<const char*> groups() {
    std::vector<const char*> names;
    for (const Option& option : kOptions)
        if (names.empty() || names.back() != option.group)
            names.push_back(option.group);
    return names;
}

/// For troff: a dash is a minus sign, a backslash stands for itself.
std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text)
        out += c == '-' ? std::string("\\-") : c == '\\' ? std::string("\\e") : std::string(1, c);
    return out[0] == '.' || out[0] == '\'' ? "\\&" + out : out;
}

} // namespace

std::span<const Option> optionTable() {
    return kOptions;
}

std::string helpText() {
    constexpr size_t kWidth = 80, kColumn = 28;
    std::string out;
    for (const char* const line : kSynopsis)
        out += std::string(out.empty() ? "Usage: " : "       ") + line + "\n";
    out += "\n" + wrap(kAbout, kWidth, 0, 0) + "\n";
    for (const char* const group : groups()) {
        out += std::string("\n") + group + ":\n";
        for (const Option& option : kOptions) {
            if (option.group != group || option.hidden)
                continue;
            std::string line =
                option.letter != '\0' ? std::string("  -") + option.letter + ", " : "      ";
            line += std::string("--") + option.name +
                    (option.argument != nullptr ? std::string(" ") + option.argument : "");
            if (line.size() + 1 > kColumn)
                line += "\n" + std::string(kColumn, ' ');
            else
                line.resize(kColumn, ' ');
            out += line + wrap(option.help, kWidth, kColumn, kColumn) + "\n";
        }
    }
    out += "\nExamples:\n";
    for (const Example& example : kExamples)
        out += std::string("  ") + example.command + "\n      " + example.what + "\n";
    out += "\n" + wrap(kFrames, kWidth, 0, 0) + "\n" + rawFormatList();
    return out + "\n" + wrap(kExit, kWidth, 0, 0) + "\n";
}

std::string manPage() {
    std::string out = ".\\\" Made of the table of options by velajpeg --man.\n"
                      ".TH VELAJPEG 1 \"\" \"velajpeg " VELA_VERSION_TEXT "\" \"User Commands\"\n"
                      ".SH NAME\nvelajpeg \\- encode pictures as JPEG\n.SH SYNOPSIS\n";
    for (const char* const line : kSynopsis)
        out += ".B " + escaped(line) + "\n.br\n";
    out += ".SH DESCRIPTION\n" + escaped(kAbout) + "\n.SH OPTIONS\n";
    for (const char* const group : groups()) {
        out += std::string(".SS ") + group + "\n";
        for (const Option& option : kOptions) {
            if (option.group != group || option.hidden)
                continue;
            out += ".TP\n";
            out += option.letter != '\0' ? std::string("\\fB\\-") + option.letter + "\\fR, " : "";
            out += "\\fB\\-\\-" + escaped(option.name) + "\\fR";
            out +=
                option.argument != nullptr ? " \\fI" + escaped(option.argument) + "\\fR\n" : "\n";
            out += escaped(option.help) + "\n";
        }
    }
    out += ".SH EXAMPLES\n";
    for (const Example& example : kExamples)
        out += ".TP\n.B " + escaped(example.command) + "\n" + escaped(example.what) + "\n";
    out += ".SH RAW FRAMES\n" + escaped(kFrames) + "\n.PP\n.nf\n";
    std::istringstream list(rawFormatList());
    for (std::string line; std::getline(list, line);)
        out += escaped(line) + "\n";
    return out + ".fi\n.SH EXIT STATUS\n" + escaped(kExit) + "\n";
}

namespace {

std::string bashCompletion() {
    std::string all, cases;
    for (const Option& option : kOptions) {
        if (option.hidden)
            continue;
        const std::string name = std::string("--") + option.name;
        all += (all.empty() ? "" : " ") + name;
        if (option.argument == nullptr)
            continue;
        cases += "        " +
                 (option.letter != '\0' ? std::string("-") + option.letter + " | " : "") + name +
                 ")\n";
        if (option.completes == Completes::words)
            cases += "            COMPREPLY=($(compgen -W '" + std::string(option.words) +
                     "' -- \"$word\"))\n";
        else if (option.completes != Completes::nothing)
            cases +=
                std::string("            compopt -o filenames\n            COMPREPLY=($(compgen ") +
                (option.completes == Completes::folders ? "-d" : "-f") + " -- \"$word\"))\n";
        cases += "            return ;;\n";
    }
    return "# Completion of velajpeg for bash; made of the table of options by velajpeg "
           "--completion bash.\n"
           "_velajpeg() {\n    local word=${COMP_WORDS[COMP_CWORD]}\n    COMPREPLY=()\n"
           "    case ${COMP_WORDS[COMP_CWORD - 1]} in\n" +
           cases + "    esac\n    if [[ $word == -* ]]; then\n        COMPREPLY=($(compgen -W '" +
           all +
           "' -- \"$word\"))\n    else\n        compopt -o filenames\n"
           "        COMPREPLY=($(compgen -f -- \"$word\"))\n    fi\n}\ncomplete -F _velajpeg "
           "velajpeg\n";
}

std::string quoted(const std::string& text, const char* specials) { // for the inside of '..'
    std::string out;
    for (const char c : text) {
        if (c == '\'')
            out += "'\\'";
        else if (std::string(specials).find(c) != std::string::npos)
            out += '\\';
        out += c;
    }
    return out;
}

std::string zshCompletion() {
    std::string out = "#compdef velajpeg\n# Made of the table of options by velajpeg --completion "
                      "zsh.\n_arguments -s \\\n";
    for (const Option& option : kOptions) {
        if (option.hidden)
            continue;
        const std::string name = std::string("--") + option.name;
        std::string values;
        if (option.argument != nullptr) {
            values = ":" + quoted(option.argument, ":[]") + ":";
            if (option.completes == Completes::files)
                values += "_files";
            else if (option.completes == Completes::folders)
                values += "_files -/";
            else if (option.completes == Completes::words)
                values += std::string("(") + option.words + ")";
        }
        const std::string rest = "[" + quoted(option.help, ":[]") + "]" + values + "' \\\n";
        if (option.letter != '\0')
            out += std::string("    '-") + option.letter + rest;
        out += "    '" + name + rest;
    }
    return out + "    '*:input:_files'\n";
}

std::string fishCompletion() {
    std::string out = "# Completion of velajpeg for fish; made of the table of options by velajpeg "
                      "--completion fish.\n";
    for (const Option& option : kOptions) {
        if (option.hidden)
            continue;
        out += std::string("complete -c velajpeg -l ") + option.name;
        if (option.letter != '\0')
            out += std::string(" -s ") + option.letter;
        if (option.argument != nullptr)
            out += option.completes == Completes::files ? " -r -F"
                   : option.completes == Completes::folders
                       ? " -x -a '(__fish_complete_directories)'"
                   : option.completes == Completes::words
                       ? std::string(" -x -a '") + option.words + "'"
                       : std::string(" -x");
        out += " -d '" + quoted(option.help, "\\") + "'\n";
    }
    return out;
}

} // namespace

std::string completion(const std::string& shell) {
    return shell == "bash"   ? bashCompletion()
           : shell == "zsh"  ? zshCompletion()
           : shell == "fish" ? fishCompletion()
                             : "";
}

} // namespace cli
