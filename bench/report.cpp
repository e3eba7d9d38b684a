#include "report.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

namespace {

const Figure *figure_of(const Row &row, const std::string &contestant) {
    const auto at = std::find_if(row.figures.begin(), row.figures.end(), [&](const Figure &figure) {
        return figure.contestant == contestant;
    });
    return at == row.figures.end() ? nullptr : &*at;
}

std::string grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3)
        digits.insert(at - 3, ",");
    return digits;
}

} // namespace

std::vector<std::string> Report::contestants() const {
    std::vector<std::string> names;
    for (const Row &row : rows)
        for (const Figure &figure : row.figures)
            if (std::find(names.begin(), names.end(), figure.contestant) == names.end())
                names.push_back(figure.contestant);
    return names;
}

std::string Report::table() const {
    const std::vector<std::string> names = contestants();
    std::ostringstream text;
    text << std::fixed << "| operation | key | records |";
    for (const std::string &name : names)
        text << " " << name << " |";
    text << "\n|---|---|---:|";
    for (std::size_t i = 0; i < names.size(); i++)
        text << "---:|";
    text << "\n| overhead per record | any | any |";
    for (const std::string &name : names) {
        const std::size_t bytes = overheads.at(name);
        text << " " << (bytes != 0 ? std::to_string(bytes) + " B" : "varies") << " |";
    }
    for (const Row &row : rows) {
        text << "\n| " << row.operation << " | " << row.key << " | " << grouped(row.records)
             << " |";
        for (const std::string &name : names) {
            const Figure *const figure = figure_of(row, name);
            if (figure == nullptr) {
                text << " |";
                continue;
            }
            text << " " << std::setprecision(1) << figure->nanoseconds << " ns";
            if (name != names.front())
                text << ", " << std::setprecision(2) << figure->ratio;
            text << " |";
        }
    }
    text << "\n";
    return text.str();
}

std::string Report::chart(const std::string &peer, const std::string &key) const {
    constexpr double width = 760;
    constexpr double height = 420;
    constexpr double left = 60;
    constexpr double right = 210;
    constexpr double top = 50;
    constexpr double bottom = 50;
    const char *const colours[] = {"#1b6ca8", "#d1495b", "#2e8b57", "#edae49",
                                   "#6a4c93", "#00798c", "#8d6a3f", "#444444"};
    std::map<std::string, std::map<std::size_t, double>> lines;
    std::vector<std::string> order;
    std::vector<std::size_t> sizes;
    double highest = 1;
    for (const Row &row : rows) {
        const Figure *const figure = figure_of(row, peer);
        if (figure == nullptr || row.key != key)
            continue;
        if (!lines.contains(row.operation))
            order.push_back(row.operation);
        lines[row.operation][row.records] = figure->ratio;
        sizes.push_back(row.records);
        highest = std::max(highest, std::ceil(figure->ratio));
    }
    std::sort(sizes.begin(), sizes.end());
    sizes.erase(std::unique(sizes.begin(), sizes.end()), sizes.end());
    const auto x = [&](std::size_t size) {
        const auto at = std::find(sizes.begin(), sizes.end(), size) - sizes.begin();
        return left + (width - left - right) * static_cast<double>(at) /
                          std::max(1.0, static_cast<double>(sizes.size()) - 1);
    };
    const auto y = [&](double ratio) {
        return height - bottom - (height - top - bottom) * ratio / highest;
    };

    std::ostringstream svg;
    svg << std::fixed << std::setprecision(1)
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << " " << height
        << "\" font-family=\"sans-serif\" font-size=\"12\">\n"
        << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<text x=\"" << left << "\" y=\"24\" font-size=\"15\">How many times as fast as " << peer
        << " (" << key << " keys)</text>\n";
    for (double ratio = 0; ratio <= highest; ratio++)
        svg << "<line x1=\"" << left << "\" x2=\"" << width - right << "\" y1=\"" << y(ratio)
            << "\" y2=\"" << y(ratio) << "\" stroke=\"" << (ratio == 1 ? "#000" : "#ccc")
            << "\"/>\n<text x=\"" << left - 8 << "\" y=\"" << y(ratio) + 4
            << "\" text-anchor=\"end\">" << static_cast<int>(ratio) << "</text>\n";
    for (const std::size_t size : sizes)
        svg << "<text x=\"" << x(size) << "\" y=\"" << height - bottom + 20
            << "\" text-anchor=\"middle\">" << grouped(size) << "</text>\n";
    svg << "<text x=\"" << (left + width - right) / 2 << "\" y=\"" << height - 10
        << "\" text-anchor=\"middle\">records</text>\n";
    for (std::size_t i = 0; i < order.size(); i++) {
        const char *const colour = colours[i % std::size(colours)];
        svg << "<polyline fill=\"none\" stroke-width=\"2\" stroke=\"" << colour << "\" points=\"";
        for (const auto &[size, ratio] : lines[order[i]])
            svg << x(size) << "," << y(ratio) << " ";
        const double legend = top + 20 * static_cast<double>(i);
        svg << "\"/>\n<rect x=\"" << width - right + 24 << "\" y=\"" << legend
            << "\" width=\"12\" height=\"12\" fill=\"" << colour << "\"/>\n<text x=\""
            << width - right + 42 << "\" y=\"" << legend + 10 << "\">" << order[i] << "</text>\n";
    }
    svg << "</svg>\n";
    return svg.str();
}
