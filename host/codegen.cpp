/* The compile service: C text in, loaded functions out, by way of the system's C compiler. */
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <vector>

#include "formatted.h"
#include "report.h"
#include "zoeavl_host.h"

extern char **environ; // NOLINT(readability-redundant-declaration)

namespace {

namespace fs = std::filesystem;

/* The unit has old-style function pointer declarators, which newer dialects refuse, and reads
 * records that callers write under types of their own. */
const char *const options[] = {"-std=gnu11", "-O2", "-fPIC", "-shared", "-fno-strict-aliasing"};

constexpr uint32_t success = 0;
constexpr uint32_t failure = 1;

struct Codegen : ZOCodegen {
    ZOJournal *journal;
    std::string text = "#include <stdint.h>\n";
};

struct Module : ZOModule {
    void *library;
};

/* ---- Collecting
 * ----------------------------------------------------------------------------------*/

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
        text << "_Static_assert(" << what << " == " << value << ", \"" << structure.name
             << "\");\n";
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

/* ---- Compiling
 * -----------------------------------------------------------------------------------*/

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
    while (waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), command[0]);
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
void *compile_and_load(const std::string &text, const char *further_options) {
    const Workshop workshop;
    const std::string unit = workshop.path("unit.c");
    const std::string library = workshop.path("unit.so");
    const std::string words = workshop.path("words");
    if (!(std::ofstream(unit) << text << std::flush))
        throw std::runtime_error("can't write " + unit);

    std::vector<std::string> command = compiler_command(further_options);
    const std::string compiler = command[0];
    command.insert(command.end(), {"-o", library, unit});
    if (const int status = run(std::move(command), words); status != 0)
        throw std::runtime_error(compiler + " ended with status " + std::to_string(status) + ":\n" +
                                 contents(words));
    void *const loaded = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (loaded == nullptr)
        throw std::runtime_error(dlerror()); // NOLINT(concurrency-mt-unsafe): is thread-local here
    return loaded;
}

void *symbol(ZOModule *module, const char *name) {
    return dlsym(static_cast<Module *>(module)->library, name);
}

void destroy_module(ZOModule *module) {
    dlclose(static_cast<Module *>(module)->library);
    delete static_cast<Module *>(module);
}

ZOModule *compile(ZOCodegen *codegen, ZOWord first, ZOWord) {
    auto *const self = static_cast<Codegen *>(codegen);
    try {
        const auto *const further =
            reinterpret_cast<const char *>(first); // NOLINT: a caller's pointer
        auto module = std::make_unique<Module>();
        module->library = compile_and_load(self->text, further);
        module->Destroy = destroy_module;
        module->symbol = symbol;
        return module.release();
    } catch (const std::exception &refusal) {
        report(self->journal, std::string("compile: ") + refusal.what());
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
