// Replaces a function that the test program imports from a DLL, for as long as an object lives: to
// see what the window system is asked for, or to have it refuse. One thread.
#pragma once

#include <cstring>
#include <gtest/gtest.h>

#include <windows.h>

/// @return where the program keeps the address of an imported function; null when it imports none
/// of that name
inline void **vel_test_import_slot(const char *function)
{
    auto *base = reinterpret_cast<BYTE *>(GetModuleHandleW(nullptr));
    const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(base);
    const auto *headers = reinterpret_cast<const IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
    const DWORD imports =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    const auto *dll = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR *>(base + imports);
    for (; dll->Name != 0; dll++) {
        const auto *name =
            reinterpret_cast<const IMAGE_THUNK_DATA *>(base + dll->OriginalFirstThunk);
        auto **slot = reinterpret_cast<void **>(base + dll->FirstThunk);
        for (; name->u1.AddressOfData != 0; name++, slot++) {
            const auto *import =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME *>(base + name->u1.AddressOfData);
            if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) &&
                strcmp(reinterpret_cast<const char *>(import->Name), function) == 0)
                return slot;
        }
    }
    return nullptr;
}

/// Puts a replacement in the place of an imported function; the original comes back at the end.
template <typename Function> class VelImportPatch
{
public:
    VelImportPatch(const char *function, Function *replacement)
        : slot_(vel_test_import_slot(function))
    {
        EXPECT_NE(slot_, nullptr) << function << " is not imported";
        if (slot_ == nullptr)
            return;
        original_ = *slot_;
        store(reinterpret_cast<void *>(replacement));
    }

    ~VelImportPatch()
    {
        if (slot_ != nullptr)
            store(original_);
    }

    VelImportPatch(const VelImportPatch &) = delete;
    VelImportPatch &operator=(const VelImportPatch &) = delete;

    /// The function that was replaced; calling it by its name would end in the replacement.
    Function *original() const
    {
        return reinterpret_cast<Function *>(original_);
    }

private:
    void store(void *function) const
    {
        DWORD protection = 0;
        VirtualProtect(slot_, sizeof *slot_, PAGE_READWRITE, &protection);
        *slot_ = function;
        VirtualProtect(slot_, sizeof *slot_, protection, &protection);
    }

    void **slot_;
    void *original_ = nullptr;
};
