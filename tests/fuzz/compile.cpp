/* The embedded host's compile service: the unit that the compiler gets is what was added, byte for
 * byte, and what the compiler says reaches the journal. */
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

#include <zoeavl_host.h>

#include "fuzz.h"

namespace {

/* The compiler only keeps the unit, where the target can read it. */
std::string kept_unit() {
    static const std::string folder = (std::filesystem::temp_directory_path() / "unit").string();
    return folder + std::to_string(getpid());
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    setenv("CC", "sh " KEEP_SCRIPT, 1);
    setenv("KEPT", kept_unit().c_str(), 1);
    std::atexit([] { std::filesystem::remove(kept_unit()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    FuzzedDataProvider bytes(data, size);
    ZOJournal *const journal = bytes.ConsumeBool() ? zoeavl_host_journal(nullptr) : nullptr;
    ZOCodegen *const codegen = zoeavl_host_codegen(journal);
    std::string unit = "#include <stdint.h>\n#line 1 \"<text>\"\n";
    const auto require = [&unit](const std::string &holds) {
        unit += "_Static_assert(" + holds + ", \"" + holds + "\");\n";
    };
    const std::string options = bytes.ConsumeRandomLengthString(16);
    while (bytes.remaining_bytes() > 0) {
        const auto action = bytes.ConsumeIntegralInRange(0, 3);
        const bool line = bytes.ConsumeBool();
        const std::string text = bytes.ConsumeRandomLengthString(600);
        const std::size_t visible = std::strlen(text.c_str());
        if (action == 0) {
            DEMAND(codegen->addText(codegen, line, text.data(),
                                    static_cast<std::int64_t>(text.size())) == 0);
            unit += text;
        } else if (action == 1) {
            DEMAND(codegen->addText(codegen, line, text.c_str(), -1) == 0);
            unit += text.substr(0, visible);
        } else if (action == 2) {
            DEMAND(codegen->addFormat(codegen, line, "%s|%5d%%", text.c_str(),
                                      static_cast<int>(visible)) == 0);
            char number[16];
            std::snprintf(number, sizeof number, "|%5d%%", static_cast<int>(visible));
            unit += text.substr(0, visible) + number;
        } else {
            const ZOCodegenMember members[] = {{text.c_str(), 7, 1000, "char %s[7]"}, {}};
            const ZOCodegenStruct structs[] = {{"s", 8, members}, {}};
            DEMAND(codegen->addStructs(codegen, structs, UINT32_MAX) == 0);
            const std::string member = text.substr(0, visible);
            unit += "struct s {\n    char " + member + "[7];\n};\n";
            require("sizeof(struct s) == 8");
            require("__builtin_offsetof(struct s, " + member + ") == 1000");
            require("sizeof(((struct s *)0)->" + member + ") == 7");
            continue;
        }
        unit += line ? "\n" : "";
    }
    DEMAND(codegen->compile(codegen, reinterpret_cast<ZOWord>(options.c_str()), 0) == nullptr);
    std::ifstream kept(kept_unit(), std::ios::binary);
    DEMAND(std::string(std::istreambuf_iterator<char>(kept), {}) == unit);
    codegen->Destroy(codegen);
    if (journal != nullptr) {
        DEMAND(std::strstr(zoeavl_host_journal_text(journal), "status 1:\nrefused") != nullptr);
        zoeavl_host_journal_end(journal);
    }
    return 0;
}
