/* Orders a column of doubles with missing values, read from a CSV file, and shows the neighbours of
 * a threshold. */
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <deque>
#include <fstream>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include <zoeavl.h>
#include <zoeavl_host.h>

namespace {

struct Reading {
    ZOEAVLNODE node;
    double level;
    std::string station;
    std::string text; /* of the level, as it stands in the file */
    Reading *next_of_same_level;
};

Reading *reading_of(ZOEAVLp node) {
    return ZOEAVL_RECORD(Reading, node);
}

/* A missing value is a NaN whose sixth byte is the negated missing code; the tree puts the missing
 * values first, in the order of their codes. */
double missing(std::uint8_t code) {
    std::uint64_t bits = 0x7FF0000000000001 | std::uint64_t{static_cast<std::uint8_t>(-code)} << 40;
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

const std::map<std::string, std::uint8_t> why_missing = {{"", 1}, {"frozen", 2}, {"removed", 3}};

double number(const std::string &text, const std::string &where) {
    double value = 0;
    const auto [end, failed] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (failed != std::errc{} || end != text.data() + text.size() || std::isnan(value))
        throw std::runtime_error(where + ": not a number: " + text);
    return value;
}

double level(const std::string &text, const std::string &where) {
    const auto known = why_missing.find(text);
    return known != why_missing.end() ? missing(known->second) : number(text, where);
}

std::deque<Reading> readings_in(const std::string &file) {
    std::ifstream lines(file);
    std::string line;
    if (!std::getline(lines, line)) // the column names
        throw std::runtime_error("can't read " + file);
    std::deque<Reading> readings;
    while (std::getline(lines, line)) {
        const std::size_t comma = line.find(',');
        if (comma == std::string::npos)
            throw std::runtime_error(file + ": not a station and a level: " + line);
        Reading &reading = readings.emplace_back();
        reading.station = line.substr(0, comma);
        reading.text = line.substr(comma + 1);
        reading.level = level(reading.text, file);
    }
    return readings;
}

ZOEAVLTree *make_tree(ZOEAVLExtension *factory) {
    if (factory == nullptr)
        throw std::runtime_error("the host gives no memory for a factory");
    ZOEAVLParms parms{};
    parms.keylen = 1;
    parms.keyoff = offsetof(Reading, level);
    parms.keytype = ZOEAVL_KEYTYPE_MDBL;
    parms.flags = ZOEAVL_PARM_NOLOCK;
    ZOEAVLTree *const tree = factory->Create(factory, &parms, nullptr, "levels");
    if (tree == nullptr)
        throw std::runtime_error("the host gives no memory for a tree");
    return tree;
}

void show(ZOEAVLp node) {
    if (node == nullptr) {
        std::cout << " nothing\n";
        return;
    }
    const Reading *reading = reading_of(node);
    if (std::isnan(reading->level))
        std::cout << " missing (" << (reading->text.empty() ? "no reading" : reading->text) << "):";
    else
        std::cout << " " << reading->text << ":";
    for (; reading != nullptr; reading = reading->next_of_same_level)
        std::cout << " " << reading->station << (reading->next_of_same_level ? "," : "");
    std::cout << "\n";
}

void run(const std::string &file, double threshold) {
    std::deque<Reading> readings = readings_in(file);
    zoextent(zoeavl_host());
    ZOEAVLExtension *const factory = zoeavl(nullptr, nullptr);
    ZOEAVLTree *const tree = make_tree(factory);
    for (Reading &reading : readings) {
        Reading *const there = reading_of(tree->adder(&tree->root, &reading.node));
        if (there != &reading) { // an equal level, or a value missing for the same reason
            reading.next_of_same_level = there->next_of_same_level;
            there->next_of_same_level = &reading;
        }
    }
    for (ZOEAVLp node = tree->First(&tree->root); node != nullptr; node = tree->Next(node))
        show(node);

    ZOEAVLp below = nullptr;
    ZOEAVLp above = nullptr;
    const ZOEAVLp found = tree->fuzzier(&tree->root, &threshold, &below, &above);
    std::cout << "just below " << threshold << ":";
    show(below);
    if (found != nullptr) {
        std::cout << "at " << threshold << ":";
        show(found);
    }
    std::cout << "just above " << threshold << ":";
    show(above);
    tree->destroy(tree);
    factory->RealDestroy(factory);
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 2 || argc > 3 || std::string(argv[1]) == "--help") {
        std::cout << "usage: missing_values FILE.csv [THRESHOLD]\n"
                     "Orders the second column, in which a number, nothing, 'frozen' or 'removed' "
                     "may stand.\n";
        return argc == 2 ? 0 : 2;
    }
    try {
        run(argv[1], argc == 3 ? number(argv[2], "threshold") : 2.0);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "missing_values: " << error.what() << "\n";
        return 2;
    }
}
