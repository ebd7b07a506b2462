// Configuration files of any content: nothing that is in a file is lost by a write beside it, and what was written is
// read again.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <uci.h>

#include "platform/uci.h"
#include "platform/uci_folders.h"
#include "tests/fuzz/check.h"
#include "tests/unit/temporary_directory.h"

namespace {

std::string read_option(const Uci &uci, const char *path)
{
    Text<256> value;
    kuci2_get(uci, path, value);
    return std::string(value.view());
}

// libuci writes a section's type without quotes, whatever it holds: a file with such a type does not outlive a commit,
// of the real library either.
bool has_odd_type(const char *folder)
{
    const std::unique_ptr<uci_context, decltype(&uci_free_context)> context(uci_alloc_context(), uci_free_context);
    uci_package *package = nullptr;
    if (uci_set_confdir(context.get(), folder) != UCI_OK || uci_load(context.get(), "network", &package) != UCI_OK)
        return false;
    uci_element *section = nullptr;
    uci_foreach_element(&package->sections, section)
    {
        if (std::string_view{uci_to_section(section)->type}.find_first_of("\"'\\#; \t\r\v\f") != std::string_view::npos)
            return true;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    static const TemporaryDirectory folder;
    const std::string file = folder.file("network", {reinterpret_cast<const char *>(bytes), size});
    if (has_odd_type(folder.path().c_str()))
        return 0;
    const UciFolders folders = {.config = Text<64>{folder.path().c_str()},
                                .saved = Text<64>{folder.entry("saved").c_str()},
                                .lock = Text<64>{folder.entry("lock").c_str()}};
    const auto open = [&] { return open_uci(folders); };
    const std::string before = read_option(open(), "network.lan.proto");
    {
        const Uci uci = open();
        if (kuci2_set(uci, "network.fuzz_added", "interface") != 0 ||
            kuci2_set(uci, "network.fuzz_added.apn", "it's \"a\" text") != 0 || kuci2_commit(uci, "network") != 0)
            return 0; // a file that is no configuration stays as it is
    }
    const Uci uci = open();
    check(read_option(uci, "network.fuzz_added.apn") == "it's \"a\" text", "what was written is read again");
    check(read_option(uci, "network.lan.proto") == before, "what was there stays");
    return 0;
}
