/* A dictionary: every word of a text, looked up by how it begins.
 *
 *     dictionary PREFIX FILE... */
#include <cctype>
#include <deque>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <zoeavl.hpp>

struct Word : zoe::node {
    explicit Word(std::string text_) : text(std::move(text_)) {}
    std::string text;
    long count = 0;
};

int main(int argc, char **argv) {
    if (argc < 3) {
        std::cerr << "usage: dictionary PREFIX FILE...\n";
        return 2;
    }
    const std::string_view prefix = argv[1];
    std::deque<Word> memory; // records stay where they are as it grows
    zoe::index<Word, &Word::text> words;
    for (int i = 2; i < argc; i++) {
        std::ifstream file(argv[i]);
        std::string word;
        for (char c = 0; file.get(c) || !word.empty();)
            if (file && std::isalpha(static_cast<unsigned char>(c)) != 0) {
                word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            } else if (!word.empty()) {
                const auto make = [&]() -> Word & { return memory.emplace_back(word); };
                words.find_or_insert(make, word).first->count++;
                word.clear();
            }
        if (!file.eof()) {
            std::cerr << "dictionary: can't read " << argv[i] << "\n";
            return 2;
        }
    }
    for (auto word = words.lower_bound(prefix);
         word != words.end() && word->text.starts_with(prefix); ++word)
        std::cout << word->text << " " << word->count << "\n";

    const auto [below, match, above] = words.neighbours(prefix);
    std::cout << "before " << prefix << ": " << (below != nullptr ? below->text : "nothing")
              << ", of " << words.size() << " words\n";
}
