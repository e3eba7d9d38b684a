#include "chart.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iterator>
#include <set>
#include <sstream>

namespace {

constexpr double width = 800;
constexpr double height = 380;
constexpr double left = 60;
constexpr double right = 240;
constexpr double top = 50;
constexpr double bottom = 50;
constexpr const char *colours[] = {"#1b6ca8", "#d1495b", "#2e8b57", "#edae49", "#6a4c93",
                                   "#00798c", "#8d6a3f", "#444444", "#e07be0", "#7fb800"};

void draw(std::ostream &svg, const Panel &panel, double up) {
    std::set<std::size_t> sizes;
    double least = 0;
    double most = 1;
    const auto scaled = [&](double value) { return panel.logarithmic ? std::log10(value) : value; };
    for (const auto &[name, points] : panel.lines)
        for (const auto &[size, value] : points) {
            sizes.insert(size);
            most = std::max(most, std::ceil(scaled(value)));
        }
    if (panel.logarithmic)
        least = most - 3;
    const auto x = [&](std::size_t size) {
        const auto at = std::distance(sizes.begin(), sizes.find(size));
        return left + (width - left - right) * static_cast<double>(at) /
                          std::max(1.0, static_cast<double>(sizes.size()) - 1);
    };
    const auto y = [&](double at) {
        return up + height - bottom - (height - top - bottom) * (at - least) / (most - least);
    };

    svg << "<text x=\"" << left << "\" y=\"" << up + 24 << "\" font-size=\"15\">" << panel.title
        << "</text>\n";
    for (double at = least; at <= most; at++)
        svg << "<line x1=\"" << left << "\" x2=\"" << width - right << "\" y1=\"" << y(at)
            << "\" y2=\"" << y(at) << "\" stroke=\""
            << (at == 1 && !panel.logarithmic ? "#000" : "#ccc") << "\"/>\n<text x=\"" << left - 8
            << "\" y=\"" << y(at) + 4 << "\" text-anchor=\"end\">"
            << (panel.logarithmic ? std::pow(10, at) : at) << "</text>\n";
    for (const std::size_t size : sizes)
        svg << "<text x=\"" << x(size) << "\" y=\"" << up + height - bottom + 20
            << "\" text-anchor=\"middle\">" << grouped(size) << "</text>\n";
    svg << "<text x=\"" << (left + width - right) / 2 << "\" y=\"" << up + height - 10
        << "\" text-anchor=\"middle\">records</text>\n";
    for (std::size_t i = 0; i < panel.lines.size(); i++) {
        const auto &[name, points] = panel.lines[i];
        const char *const colour = colours[i % std::size(colours)];
        svg << "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" << colour << "\" points=\"";
        for (const auto &[size, value] : points)
            svg << x(size) << "," << y(scaled(value)) << " ";
        const double key = up + top + 20 * static_cast<double>(i);
        svg << "\"/>\n<rect x=\"" << width - right + 24 << "\" y=\"" << key
            << "\" width=\"12\" height=\"12\" fill=\"" << colour << "\"/>\n<text x=\""
            << width - right + 42 << "\" y=\"" << key + 10 << "\">" << name << "</text>\n";
    }
}

} // namespace

std::string grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3)
        digits.insert(at - 3, ",");
    return digits;
}

std::string chart(const std::vector<Panel> &panels) {
    std::ostringstream svg;
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << " "
        << height * static_cast<double>(panels.size())
        << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    for (std::size_t i = 0; i < panels.size(); i++)
        draw(svg, panels[i], height * static_cast<double>(i));
    svg << "</svg>\n";
    return svg.str();
}
