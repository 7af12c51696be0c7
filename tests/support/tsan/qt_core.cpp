#include "tests/support/tsan/qt_core.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <link.h>

namespace
{

struct CodeRange {
    std::uintptr_t begin;
    std::uintptr_t end;
};

CodeRange qt_core_code = {0, 0};

/// dl_iterate_phdr's callback: notes where the code of QtCore lies.
int findQtCore(dl_phdr_info *info, std::size_t, void *)
{
    if (!std::strstr(info->dlpi_name, "/libQt5Core.so"))
        return 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr) &segment = info->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X)) {
            const std::uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
            qt_core_code = CodeRange{begin, begin + segment.p_memsz};
        }
    }
    return 1;
}

const int found = dl_iterate_phdr(findQtCore, nullptr);

} // namespace

bool isQtCore(const void *code_address)
{
    const auto address = reinterpret_cast<std::uintptr_t>(code_address);
    return qt_core_code.begin <= address && address < qt_core_code.end;
}
