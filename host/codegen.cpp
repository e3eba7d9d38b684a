/* The compile service: C text in, loaded functions out, by way of the system's C compiler. */
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <utility>
#include <vector>

#include "formatted.h"
#include "report.h"
#include "requests.h"
#include "zoeavl_host.h"

extern char **environ; // NOLINT(readability-redundant-declaration)

namespace {

namespace fs = std::filesystem;

/* The unit has old-style function pointer declarators, which newer dialects refuse, and reads
 * records that callers write under types of their own. What it defines is its own, whatever else in
 * the process has that name. */
const char *const options[] = {"-std=gnu11",          "-O2", "-fPIC", "-shared", "-Wl,-Bsymbolic",
                               "-fno-strict-aliasing"};

constexpr uint32_t success = 0;
constexpr uint32_t failure = 1;

/* How the compiler calls text of which nobody said where it stems from. */
constexpr const char *unknown_source = "<text>";

/* A line for the compiler: what follows is line `line` of `file`. */
std::string line_directive(uint32_t line, const std::string &file) {
    std::string quoted;
    for (const char c : file) {
        if (c == '"' || c == '\\')
            quoted += '\\';
        quoted += c;
    }
    return "#line " + std::to_string(line) + " \"" + quoted + "\"\n";
}

struct Codegen : ZOCodegen {
    ZOJournal *journal;
    std::string text = "#include <stdint.h>\n" + line_directive(1, unknown_source);
    std::string words;
};

/* ---- Collecting ------------------------------------------------------------------------------ */

/* Runs an addition, which fails when there is no memory for it. */
template <class Addition>
uint32_t add(ZOCodegen *codegen, Addition addition) {
    try {
        addition(static_cast<Codegen *>(codegen)->text);
        return success;
    } catch (const std::exception &) {
        return failure;
    }
}

uint32_t add_text(ZOCodegen *codegen, uint32_t line, const char *piece, int64_t length) {
    return add(codegen, [&](std::string &text) {
        text.append(piece, length < 0 ? std::char_traits<char>::length(piece)
                                      : static_cast<std::size_t>(length));
        if (line != 0)
            text += '\n';
    });
}

uint32_t add_format(ZOCodegen *codegen, uint32_t line, const char *format, ...) {
    va_list list;
    va_start(list, format);
    const uint32_t status = add(codegen, [&](std::string &text) {
        text += formatted(format, list);
        if (line != 0)
            text += '\n';
    });
    va_end(list);
    return status;
}

/* A declaration of the member: its format with the name in place of the one %s. */
std::string declaration(const ZOCodegenMember &member) {
    std::string decl = member.decl;
    return decl.replace(decl.find("%s"), 2, member.name);
}

/* The structure, and the compiler's word that it lies in memory as the table says. */
void add_struct(std::ostream &text, const ZOCodegenStruct &structure) {
    const auto require = [&](const std::string &what, uint64_t value) {
        const std::string holds = what + " == " + std::to_string(value);
        text << "_Static_assert(" << holds << ", \"" << holds << "\");\n";
    };
    const std::string type = "struct " + std::string(structure.name);
    text << type << " {\n";
    for (const ZOCodegenMember *m = structure.members; m->name != nullptr; m++)
        text << "    " << declaration(*m) << ";\n";
    text << "};\n";
    require("sizeof(" + type + ")", structure.size);
    for (const ZOCodegenMember *m = structure.members; m->name != nullptr; m++) {
        require("__builtin_offsetof(" + type + ", " + m->name + ")", m->offset);
        require("sizeof(((" + type + " *)0)->" + m->name + ")", m->size);
    }
}

uint32_t add_structs(ZOCodegen *codegen, const ZOCodegenStruct *structs, uint32_t count) {
    return add(codegen, [&](std::string &text) {
        std::ostringstream definitions;
        for (uint32_t i = 0; i < count && structs[i].name != nullptr; i++)
            add_struct(definitions, structs[i]);
        text += definitions.str();
    });
}

/* ---- Compiling ------------------------------------------------------------------------------- */

/* A folder of its own for one compilation; it goes, with all that is in it, when the scope ends. */
class Workshop {
  public:
    Workshop() {
        std::string pattern = (fs::temp_directory_path() / "zoeavl-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::system_error(errno, std::generic_category(), pattern);
        folder = pattern;
    }
    ~Workshop() {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    Workshop(const Workshop &) = delete;
    Workshop &operator=(const Workshop &) = delete;
    [[nodiscard]] std::string path(const char *name) const { return (folder / name).string(); }

  private:
    fs::path folder;
};

void append_words(std::vector<std::string> &words, const std::string &text) {
    std::istringstream stream(text);
    words.insert(words.end(), std::istream_iterator<std::string>(stream), {});
}

/* Runs a command with both its outputs in a file. Gives its exit status. */
int run(std::vector<std::string> command, const std::string &output) {
    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string &word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t child = 0;
    const int failed =
        posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0)
        throw std::system_error(failed, std::generic_category(), command[0]);

    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno == ECHILD)
            return 0; // nobody is told of ended children here: whether there is a library tells
        if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), command[0]);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string contents(const std::string &path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> compiler_command(const char *further_options) {
    const char *const cc = std::getenv("CC"); // NOLINT(concurrency-mt-unsafe): only read
    std::vector<std::string> command;
    append_words(command, cc != nullptr ? cc : "");
    if (command.empty())
        command.emplace_back("cc");
    command.insert(command.end(), std::begin(options), std::end(options));
    if (further_options != nullptr)
        append_words(command, further_options);
    return command;
}

/* Throws what the compiler or the loader had to say. */
void *compile_and_load(const std::string &text, std::vector<std::string> command) {
    if (request_fails())
        throw std::runtime_error("refused, since ZOEAVL_HOST_FAIL says so");
    const Workshop workshop;
    const std::string unit = workshop.path("unit.c");
    const std::string library = workshop.path("unit.so");
    const std::string words = workshop.path("words");
    if (!(std::ofstream(unit) << text << std::flush))
        throw std::runtime_error("can't write " + unit);

    const std::string compiler = command[0];
    command.insert(command.end(), {"-o", library, unit});
    if (const int status = run(std::move(command), words); status != 0)
        throw std::runtime_error(compiler + " ended with status " + std::to_string(status) + ":\n" +
                                 contents(words));
    void *const loaded = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (loaded == nullptr) {
        const std::string refusal = dlerror(); // NOLINT(concurrency-mt-unsafe): thread-local
        throw std::runtime_error(refusal + '\n' + contents(words));
    }
    return loaded;
}

/* ---- Sharing --------------------------------------------------------------------------------- */

/* What a text was compiled to, for all modules of that text and command that live. */
struct Compilation {
    ~Compilation() {
        if (library != nullptr)
            dlclose(library);
    }
    std::size_t users = 0; /* guarded with the table */
    std::mutex guard;      /* of the library, and so held while the first user compiles */
    void *library = nullptr;
};

struct Compilations {
    std::mutex guard;
    std::map<std::string, Compilation> by_input;
};

Compilations &compilations() {
    static auto *const all = new Compilations; // never ends: modules may be ended at exit
    return *all;
}

/* One user of a compilation. The last one ends it. */
class Use {
  public:
    explicit Use(std::string input_) : input(std::move(input_)) {
        const std::lock_guard hold(compilations().guard);
        compilation = &compilations().by_input[input];
        compilation->users++;
    }
    ~Use() {
        std::map<std::string, Compilation>::node_type ended; // closed when the table is free again
        const std::lock_guard hold(compilations().guard);
        if (--compilation->users == 0)
            ended = compilations().by_input.extract(input);
    }
    Use(const Use &) = delete;
    Use &operator=(const Use &) = delete;

    /* The library, which `make` gives if no user has it yet. */
    template <class Make>
    void *library(Make make) {
        const std::lock_guard hold(compilation->guard);
        if (compilation->library == nullptr)
            compilation->library = make();
        return compilation->library;
    }

  private:
    std::string input;
    Compilation *compilation;
};

struct Module : ZOModule {
    explicit Module(std::string input) : ZOModule{}, use(std::move(input)) {}
    Use use;
    void *library = nullptr;
};

void *symbol(ZOModule *module, const char *name) {
    return dlsym(static_cast<Module *>(module)->library, name);
}

void destroy_module(ZOModule *module) {
    delete static_cast<Module *>(module);
}

ZOModule *compile(ZOCodegen *codegen, ZOWord first, ZOWord) {
    auto *const self = static_cast<Codegen *>(codegen);
    try {
        self->words.clear();
        const auto *const further =
            reinterpret_cast<const char *>(first); // NOLINT: a caller's pointer
        const std::vector<std::string> command = compiler_command(further);
        std::string input;
        for (const std::string &word : command)
            input += word + '\n';
        auto module = std::make_unique<Module>(input + self->text);
        module->library =
            module->use.library([&] { return compile_and_load(self->text, command); });
        module->Destroy = destroy_module;
        module->symbol = symbol;
        return module.release();
    } catch (const std::exception &refusal) {
        self->words = std::string("compile: ") + refusal.what();
        report(self->journal, self->words);
        return nullptr;
    }
}

void destroy_codegen(ZOCodegen *codegen) {
    delete static_cast<Codegen *>(codegen);
}

} // namespace

ZOCodegen *zoeavl_host_codegen(ZOJournal *journal) {
    auto *const codegen = new Codegen{};
    codegen->Destroy = destroy_codegen;
    codegen->addStructs = add_structs;
    codegen->addText = add_text;
    codegen->addFormat = add_format;
    codegen->compile = compile;
    codegen->journal = journal;
    return codegen;
}

uint32_t zoeavl_host_codegen_source(ZOCodegen *codegen, const char *file, uint32_t line,
                                    const char *source) {
    return add(codegen, [&](std::string &text) {
        text += line_directive(line, file) + source + '\n' + line_directive(1, unknown_source);
    });
}

const char *zoeavl_host_codegen_words(ZOCodegen *codegen) {
    return static_cast<Codegen *>(codegen)->words.c_str();
}
