#include "support/ImportPatch.h"

#include <QtGlobal>

#include <cstring>
#include <windows.h>

namespace velmo::test {

namespace {

template<typename Record>
Record *at(unsigned char *image, DWORD offset)
{
    return reinterpret_cast<Record *>(image + offset);
}

/// Where Qt6Core keeps the address of the imported function \a name.
void **slotOf(const char *name)
{
    auto *const image = reinterpret_cast<unsigned char *>(GetModuleHandleW(L"Qt6Core.dll"));
    const auto *const dos = at<IMAGE_DOS_HEADER>(image, 0);
    const auto *const headers = at<IMAGE_NT_HEADERS>(image, static_cast<DWORD>(dos->e_lfanew));
    const DWORD table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (const auto *module = at<IMAGE_IMPORT_DESCRIPTOR>(image, table); module->Name != 0; ++module) {
        const auto *names = at<IMAGE_THUNK_DATA>(image, module->OriginalFirstThunk);
        auto *addresses = at<void *>(image, module->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++addresses) {
            const bool byNumber = IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal);
            const auto offset = static_cast<DWORD>(names->u1.AddressOfData);
            if (!byNumber && std::strcmp(at<IMAGE_IMPORT_BY_NAME>(image, offset)->Name, name) == 0) {
                return addresses;
            }
        }
    }
    qFatal("Qt6Core does not import %s", name);
    return nullptr;
}

/// Writes to \a slot, which lies in protected memory; what was there.
void *exchange(void **slot, void *address)
{
    DWORD protection = 0;
    VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    void *const before = *slot;
    *slot = address;
    VirtualProtect(slot, sizeof(*slot), protection, &protection);
    return before;
}

} // namespace

ImportPatch::ImportPatch(const char *name, void *replacement)
    : slot_(slotOf(name))
    , original_(exchange(slot_, replacement))
{}

ImportPatch::~ImportPatch()
{
    exchange(slot_, original_);
}

} // namespace velmo::test
