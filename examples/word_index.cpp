/* Indexes the words of text files in one locked tree that several threads fill. */
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <zoeavl.h>
#include <zoeavl_host.h>
#include <zoeavl_inspect.h>

namespace {

constexpr const char *usage =
    R"(usage: word_index [OPTION...] [FILE...]
Counts the distinct words of the files and keeps them in order. A FILE of - is standard input; without any
FILE the licence texts of the machine are read.
  --near WORD     show the words around WORD, whether or not it is there
  --remove FILE   take the words listed in FILE out again
  --list          show all words that are left, by way of the flattened tree
  --by-count      sort the filled tree in place by how often each word came
  --per-letter    keep one tree for each first letter instead
  --draw FILE.svg draw the upper levels of the tree, by way of Graphviz' dot
  --order FILE    order the words by the C macro ZOEAVL_COMP in FILE (examples/orders explains it)
  --help          show this
)";

constexpr const char *default_folder = "/usr/share/common-licenses";
constexpr int words_around = 5;
constexpr std::uint32_t levels_drawn = 5;

/* A record: two links at the front, then whatever the program likes. The tree reads the key alone.
 */
struct Word {
    ZOEAVLNODE node;
    ZOEAVLVaryingKey text;
    std::atomic<std::uint64_t> count;
    Word *next_of_same_count;

    [[nodiscard]] std::string_view view() const {
        return {static_cast<const char *>(text.chars), text.length};
    }
};
static_assert(sizeof(std::atomic<std::uint64_t>) == sizeof(std::uint64_t),
              "the count is a key too");

Word *word_of(ZOEAVLp node) {
    return ZOEAVL_RECORD(Word, node);
}

ZOEAVLVaryingKey key_of(std::string_view word) {
    return {word.data(), static_cast<std::uint32_t>(word.size())};
}

void put_label(void *, ZOEAVLp node, char *text, std::size_t size) {
    const std::string_view word = word_of(node)->view();
    std::snprintf(text, size, "%.*s", static_cast<int>(word.size()), word.data());
}

void show(const Word *word) {
    std::cout << "  " << word->view() << " " << word->count << "\n";
}

/* ---- Command line and input ------------------------------------------------------------------ */

struct Options {
    std::vector<std::string> files;
    std::string near, remove, draw, order;
    bool list = false, by_count = false, per_letter = false, help = false;
};

Options parsed(const std::vector<std::string> &arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); i++) {
        const std::string &argument = arguments[i];
        const auto value = [&]() -> const std::string & {
            if (i + 1 == arguments.size())
                throw std::runtime_error(argument + " needs a value");
            return arguments[++i];
        };
        if (argument == "--near")
            options.near = value();
        else if (argument == "--remove")
            options.remove = value();
        else if (argument == "--draw")
            options.draw = value();
        else if (argument == "--order")
            options.order = value();
        else if (argument == "--list")
            options.list = true;
        else if (argument == "--by-count")
            options.by_count = true;
        else if (argument == "--per-letter")
            options.per_letter = true;
        else if (argument == "--help")
            options.help = true;
        else if (argument.size() > 1 && argument[0] == '-')
            throw std::runtime_error("unknown option: " + argument + " (--help shows all)");
        else
            options.files.push_back(argument);
    }
    return options;
}

std::string contents(const std::string &path) {
    if (path == "-")
        return {std::istreambuf_iterator<char>(std::cin), {}};
    std::ifstream file(path, std::ios::binary);
    if (!file || std::filesystem::is_directory(path))
        throw std::runtime_error("can't read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> default_files() {
    std::vector<std::string> files;
    for (const auto &entry : std::filesystem::directory_iterator(default_folder))
        if (!entry.is_symlink())
            files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c & 0x80) != 0;
}

template <class Use>
void for_each_word(std::string_view text, Use use) {
    for (auto at = text.begin(); at != text.end();) {
        const auto start = std::find_if(at, text.end(), is_letter);
        at = std::find_if_not(start, text.end(), is_letter);
        if (start != at)
            use(std::string_view(&*start, static_cast<std::size_t>(at - start)));
    }
}

/* About equal parts that don't cut a word. */
std::vector<std::string_view> parts_of(const std::vector<std::string> &texts, std::size_t count) {
    std::vector<std::string_view> parts;
    for (const std::string &text : texts) {
        std::size_t start = 0;
        for (std::size_t part = 1; part <= count; part++) {
            std::size_t end = text.size() * part / count;
            while (end < text.size() && is_letter(text[end]))
                end++;
            end = std::max(end, start);
            parts.push_back(std::string_view(text).substr(start, end - start));
            start = end;
        }
    }
    return parts;
}

/* ---- The index ------------------------------------------------------------------------------- */

class Index {
  public:
    Index() : journal(zoeavl_host_journal(stderr)) {
        zoextent(zoeavl_host());
        factory = zoeavl(nullptr, journal);
        if (factory == nullptr)
            throw std::runtime_error("can't make the factory");
    }
    explicit Index(const std::string &order_file) : Index() {
        ZOEAVLParms parms{};
        parms.keylen = 1;
        parms.keyoff = offsetof(Word, text);
        parms.keytype = order_file.empty() ? ZOEAVL_KEYTYPE_VCHAR : ZOEAVL_KEYTYPE_GENERATED;
        tree = factory->Create(factory, &parms, journal, "words");
        if (tree == nullptr)
            throw std::runtime_error("can't make the tree");
        if (!order_file.empty())
            generate(order_file);
    }
    ~Index() {
        if (tree != nullptr)
            tree->destroy(tree);
        if (module != nullptr)
            module->Destroy(module);
        factory->RealDestroy(factory);
        zoeavl_host_journal_end(journal);
    }
    Index(const Index &) = delete;
    Index &operator=(const Index &) = delete;

    void fill(const std::vector<std::string_view> &parts) {
        const std::size_t threads = std::max(2U, std::min(8U, std::thread::hardware_concurrency()));
        std::vector<std::deque<Word>> made(threads);
        std::vector<std::thread> team;
        team.reserve(threads);
        std::atomic<std::size_t> next_part{0};
        for (std::deque<Word> &own : made)
            team.emplace_back([&] {
                for (std::size_t part; (part = next_part++) < parts.size();)
                    for_each_word(parts[part], [&](std::string_view word) { count(word, own); });
            });
        for (std::thread &thread : team)
            thread.join();
        for (std::deque<Word> &own : made)
            records.push_back(std::move(own));
    }

    void report() const {
        std::uint64_t words = 0;
        std::uint64_t distinct = 0;
        for (ZOEAVLp node = tree->First(root()); node != nullptr; node = tree->Next(node)) {
            words += word_of(node)->count;
            distinct++;
        }
        std::cout << "words: " << words << "\ndistinct words: " << distinct
                  << "\nindex overhead: " << sizeof(ZOEAVLNODE) << " bytes a record\n";
        if (distinct > 0)
            std::cout << "first: " << word_of(tree->First(root()))->view()
                      << "\nlast: " << word_of(tree->Last(root()))->view() << "\n";
    }

    void show_around(const std::string &word) const {
        const ZOEAVLVaryingKey key = key_of(word);
        ZOEAVLp below = nullptr;
        ZOEAVLp above = nullptr;
        const ZOEAVLp found = tree->fuzzier(root(), &key, &below, &above);
        std::vector<const Word *> ahead;
        for (ZOEAVLp node = below; node != nullptr && ahead.size() < words_around;
             node = tree->Prev(node))
            ahead.push_back(word_of(node));
        std::cout << "around " << word << (found != nullptr ? ":\n" : ", which isn't there:\n");
        std::for_each(ahead.rbegin(), ahead.rend(), show);
        if (found != nullptr)
            show(word_of(found));
        for (int i = 0; above != nullptr && i < words_around; i++, above = tree->Next(above))
            show(word_of(above));
    }

    /* The tree as `dot` lays it out. */
    void draw(const std::string &file) const {
        int status = -1;
        if (std::ofstream(file, std::ios::app).good()) {
            const ZOEAVLDrawing drawing{put_label, nullptr, levels_drawn, nullptr};
            setenv("WORD_INDEX_PICTURE", file.c_str(), 1); // NOLINT: no other thread is left
            FILE *const dot = popen("dot -Tsvg -o \"$WORD_INDEX_PICTURE\"", "w");
            if (dot != nullptr) {
                zoeavl_draw(tree, nullptr, &drawing, dot);
                status = pclose(dot);
            }
        }
        if (status != 0)
            throw std::runtime_error("can't draw " + file + " (is Graphviz' dot there?)");
    }

    void remove(std::string_view list) {
        std::size_t removed = 0;
        for_each_word(list, [&](std::string_view word) {
            const ZOEAVLVaryingKey key = key_of(word);
            removed += tree->killer(root(), &key) != nullptr;
        });
        std::cout << "removed: " << removed << "\n";
    }

    void show_list() {
        for (ZOEAVLp node = flatten(); node != nullptr; node = node->rlink)
            show(word_of(node));
    }

    /* Re-keys the filled tree in place. A count can stand in the tree once: the records that come
     * back in the duplicate chain are hung on the one that is there. */
    void show_by_count() {
        ZOEAVLParms parms{};
        parms.keylen = 1;
        parms.keyoff = offsetof(Word, count);
        parms.keytype = ZOEAVL_KEYTYPE_U64;
        ZOEAVLp duplicate = nullptr;
        tree = tree->ReTree(tree, &parms, &duplicate, nullptr, journal);
        if (tree == nullptr)
            throw std::runtime_error("can't re-key the tree");
        std::size_t came_back = 0;
        while (duplicate != nullptr) {
            Word *const word = word_of(duplicate);
            duplicate = duplicate->rlink;
            Word *const first = word_of(tree->finder(root(), &word->count));
            word->next_of_same_count = first->next_of_same_count;
            first->next_of_same_count = word;
            came_back++;
        }
        std::cout << "by count: " << came_back
                  << " words came back in the duplicate chain and were hung on "
                  << "the word of their count; the highest counts:\n";
        int shown = 0;
        for (ZOEAVLp node = tree->Last(root()); node != nullptr && shown < 10;
             node = tree->Prev(node))
            for (Word *word = word_of(node); word != nullptr && shown < 10; shown++) {
                show(word);
                word = word->next_of_same_count;
            }
    }

    /* One tree a first letter, all served by the one tree object. The caller keeps the root words.
     */
    void show_per_letter() {
        std::vector<ZOEAVLp> heads(256);
        std::vector<std::size_t> sizes(256);
        for (ZOEAVLp node = flatten(); node != nullptr;) {
            const ZOEAVLp next = node->rlink;
            const auto letter = static_cast<unsigned char>(word_of(node)->view()[0]);
            sizes[letter] += tree->STAdd(tree, &heads[letter], node) == node;
            node = next;
        }
        for (std::size_t letter = 0; letter < heads.size(); letter++)
            if (heads[letter] != nullptr)
                std::cout << "  " << static_cast<char>(letter) << ": " << sizes[letter]
                          << " words, " << word_of(tree->STFirst(tree, &heads[letter]))->view()
                          << " to " << word_of(tree->STLast(tree, &heads[letter]))->view() << "\n";
    }

  private:
    [[nodiscard]] ZOEAVL_ROOT *root() const { return &tree->root; }

    void generate(const std::string &order_file) {
        const std::string text = contents(order_file);
        ZOCodegen *const codegen = zoeavl_host_codegen(journal);
        zoeavl_host_codegen_source(codegen, order_file.c_str(), 1, text.c_str());
        module = tree->Codegen(tree, codegen, 0, 0);
        codegen->Destroy(codegen);
        if (module == nullptr)
            throw std::runtime_error("can't use the order in " + order_file);
    }

    /* Counts a word; `own` takes the record of a new one. The lock is the tree's affair. */
    void count(std::string_view word, std::deque<Word> &own) {
        const ZOEAVLVaryingKey key = key_of(word);
        ZOEAVLp node = tree->finder(root(), &key);
        if (node == nullptr) {
            Word &fresh = own.emplace_back();
            fresh.text = key;
            node = tree->adder(root(), &fresh.node);
            if (node != &fresh.node)
                own.pop_back(); // another thread was faster
        }
        word_of(node)->count++;
    }

    /* The list takes the links over, so the tree starts anew. */
    ZOEAVLp flatten() {
        const ZOEAVLp first = tree->ToList(tree, nullptr);
        tree->root.headptr = nullptr;
        return first;
    }

    ZOJournal *journal;
    ZOEAVLExtension *factory = nullptr;
    ZOEAVLTree *tree = nullptr;
    ZOModule *module = nullptr;
    std::vector<std::deque<Word>> records;
};

void run(const Options &options) {
    std::vector<std::string> texts;
    for (const std::string &file : options.files.empty() ? default_files() : options.files)
        texts.push_back(contents(file));
    const std::string unwanted = options.remove.empty() ? "" : contents(options.remove);

    Index index(options.order);
    index.fill(parts_of(texts, 4));
    index.report();
    if (!options.near.empty())
        index.show_around(options.near);
    if (!options.draw.empty())
        index.draw(options.draw);
    if (!options.remove.empty())
        index.remove(unwanted);
    if (options.by_count)
        index.show_by_count();
    if (options.per_letter)
        index.show_per_letter();
    else if (options.list)
        index.show_list();
}

} // namespace

int main(int argc, char **argv) {
    try {
        const Options options = parsed({argv + 1, argv + argc});
        if (options.help)
            std::cout << usage;
        else
            run(options);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "word_index: " << error.what() << "\n";
        return 2;
    }
}
