// The ratios as bars, one per format and quality: the geometric mean over the pictures, with a tick
// at the least of them. Baseline on the left, progressive on the right.
#include <algorithm>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>
#include <utility>

#include "bench/report.h"
#include "cli/failure.h"

namespace bench {
namespace {

// All in SVG's pixels.
constexpr double kLabelWidth = 150, kPanelWidth = 420, kGap = 30, kTop = 54, kBottom = 30;
constexpr double kPitch = 17, kBar = 12;

struct Bar {
    std::string label;
    std::vector<double> ratios; // of the pictures
};

std::vector<Bar> barsOf(const std::vector<Row>& rows, uint32_t mode) {
    std::vector<Bar> bars;
    for (const Row& row : rows) {
        if (row.mode != mode)
            continue;
        const std::string label = row.format + " q" + std::to_string(row.quality);
        auto bar =
            std::find_if(bars.begin(), bars.end(), [&](const Bar& b) { return b.label == label; });
        if (bar == bars.end())
            bar = bars.insert(bars.end(), {label, {}});
        bar->ratios.push_back(row.ratio);
    }
    return bars;
}

class Panel {
public:
    Panel(std::ostream& out, double left, uint32_t mode, std::vector<Bar> bars)
        : out_(out), left_(left), mode_(mode), bars_(std::move(bars)) {
        for (const Bar& bar : bars_)
            longest_ = std::max(longest_, geometricMean(bar.ratios));
        longest_ *= 1.1; // room for the numbers after the bars
    }

    void draw(double mean) {
        out_ << "<text x='" << left_ + kLabelWidth << "' y='24' class='head'>" << modeName(mode_)
             << ", geometric mean " << mean << "</text>\n";
        for (size_t i = 0; i < bars_.size(); i++)
            drawBar(bars_[i], kTop + kPitch * static_cast<double>(i));
        const double end = kTop + kPitch * static_cast<double>(bars_.size());
        out_ << "<line x1='" << at(1) << "' x2='" << at(1) << "' y1='" << kTop - 6 << "' y2='"
             << end << "' stroke='#000' stroke-dasharray='4 3'/>\n<text x='" << at(1)
             << "' y='40' class='mid'>1.0: as fast as TurboJPEG</text>\n";
    }

private:
    double at(double ratio) const {
        return left_ + kLabelWidth + ratio / longest_ * (kPanelWidth - kLabelWidth);
    }

    void drawBar(const Bar& bar, double y) {
        const double mean = geometricMean(bar.ratios);
        const double least = at(*std::min_element(bar.ratios.begin(), bar.ratios.end()));
        out_ << "<text x='" << at(0) - 6 << "' y='" << y + kBar - 2 << "' class='end'>" << bar.label
             << "</text>\n<rect x='" << at(0) << "' y='" << y << "' width='" << at(mean) - at(0)
             << "' height='" << kBar << "' fill='" << (mean < 1 ? "#d88" : "#58a") << "'/>\n"
             << "<line x1='" << least << "' x2='" << least << "' y1='" << y << "' y2='" << y + kBar
             << "' stroke='#fff' stroke-width='2'/>\n<text x='" << at(mean) + 4 << "' y='"
             << y + kBar - 2 << "'>" << mean << "</text>\n";
    }

    std::ostream& out_;
    double left_;
    uint32_t mode_;
    std::vector<Bar> bars_;
    double longest_ = 1; // the ratio at the right edge
};

} // namespace

void writeChart(const Results& results, const std::string& path) {
    std::ostringstream panels;
    panels << std::fixed << std::setprecision(2);
    double left = 0;
    size_t most = 0;
    for (const Summary& summary : summarize(results.rows)) {
        std::vector<Bar> bars = barsOf(results.rows, summary.mode);
        most = std::max(most, bars.size());
        Panel(panels, left, summary.mode, std::move(bars)).draw(summary.mean);
        left += kPanelWidth + kGap;
    }
    const double height = kTop + kPitch * static_cast<double>(most) + kBottom;
    std::ofstream file(path);
    file << "<svg xmlns='http://www.w3.org/2000/svg' width='" << left << "' height='" << height
         << "' font-family='sans-serif' font-size='11'>\n"
         << "<style>.head{font-size:14px;font-weight:bold}.end{text-anchor:end}"
         << ".mid{text-anchor:middle}</style>\n<rect width='100%' height='100%' fill='#fff'/>\n"
         << panels.str() << "<text x='6' y='" << height - 10
         << "'>Speed against TurboJPEG with its faster transform; bars: geometric mean over the "
         << "pictures, white tick: the least picture. Instruction set: " << results.instructionSet
         << ".</text>\n</svg>\n";
    if (!file.flush())
        throw cli::Failure("cannot write " + path);
}

} // namespace bench
