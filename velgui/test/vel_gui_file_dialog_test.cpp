// The file dialog against a stand-in of the shell's: what it is asked for, in which order, and that
// every step that fails ends in no path and leaves nothing behind.
#include "vel_window_fixture.h"

#include <objbase.h>
#include <shobjidl.h>

#include "vel_import_patch.h"

namespace
{

/// The steps of the dialog; the one in `failing` fails.
struct DialogScript {
    std::string failing;
    std::vector<std::string> steps;
    int dialogs = 0;     ///< References to the dialog.
    int items = 0;       ///< References to the item.
    int paths_freed = 0; ///< Paths given back.
    FILEOPENDIALOGOPTIONS options = 0;
    HWND owner = nullptr;
    SIGDN form = SIGDN_NORMALDISPLAY;
    std::wstring path = L"Z:\\\u00e4 \u20ac\\file.csv";

    HRESULT step(const char *name)
    {
        steps.emplace_back(name);
        return failing == name ? E_FAIL : S_OK;
    }
};

DialogScript script;

/// Takes no part in the dialog's steps.
#define VEL_UNUSED(...)                                                                            \
    HRESULT WINAPI __VA_ARGS__ override                                                            \
    {                                                                                              \
        script.steps.emplace_back("unexpected");                                                   \
        return E_NOTIMPL;                                                                          \
    }

// Interfaces of this kind have no virtual destructor: nobody deletes through them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class FakeItem : public IShellItem
{
public:
    VEL_UNUSED(QueryInterface(REFIID, void **))
    ULONG WINAPI AddRef() override
    {
        return static_cast<ULONG>(++script.items);
    }
    ULONG WINAPI Release() override
    {
        return static_cast<ULONG>(--script.items);
    }
    VEL_UNUSED(BindToHandler(IBindCtx *, REFGUID, REFIID, void **))
    VEL_UNUSED(GetParent(IShellItem **))
    HRESULT WINAPI GetDisplayName(SIGDN form, LPWSTR *name) override
    {
        script.form = form;
        const HRESULT result = script.step("GetDisplayName");
        if (SUCCEEDED(result)) {
            const size_t size = (script.path.size() + 1) * sizeof(wchar_t);
            *name = static_cast<LPWSTR>(CoTaskMemAlloc(size));
            memcpy(*name, script.path.c_str(), size);
        }
        return result;
    }
    VEL_UNUSED(GetAttributes(SFGAOF, SFGAOF *))
    VEL_UNUSED(Compare(IShellItem *, SICHINTF, int *))
};

class FakeDialog : public IFileOpenDialog
{
public:
    VEL_UNUSED(QueryInterface(REFIID, void **))
    ULONG WINAPI AddRef() override
    {
        return static_cast<ULONG>(++script.dialogs);
    }
    ULONG WINAPI Release() override
    {
        return static_cast<ULONG>(--script.dialogs);
    }
    HRESULT WINAPI Show(HWND owner) override
    {
        script.owner = owner;
        return script.step("Show");
    }
    HRESULT WINAPI SetOptions(FILEOPENDIALOGOPTIONS options) override
    {
        script.options = options;
        return script.step("SetOptions");
    }
    HRESULT WINAPI GetOptions(FILEOPENDIALOGOPTIONS *options) override
    {
        *options = FOS_PATHMUSTEXIST | FOS_FILEMUSTEXIST;
        return script.step("GetOptions");
    }
    HRESULT WINAPI GetResult(IShellItem **item) override
    {
        static FakeItem result;
        const HRESULT status = script.step("GetResult");
        if (SUCCEEDED(status)) {
            *item = &result;
            result.AddRef();
        }
        return status;
    }
    VEL_UNUSED(SetFileTypes(UINT, const COMDLG_FILTERSPEC *))
    VEL_UNUSED(SetFileTypeIndex(UINT))
    VEL_UNUSED(GetFileTypeIndex(UINT *))
    VEL_UNUSED(Advise(IFileDialogEvents *, DWORD *))
    VEL_UNUSED(Unadvise(DWORD))
    VEL_UNUSED(SetDefaultFolder(IShellItem *))
    VEL_UNUSED(SetFolder(IShellItem *))
    VEL_UNUSED(GetFolder(IShellItem **))
    VEL_UNUSED(GetCurrentSelection(IShellItem **))
    VEL_UNUSED(SetFileName(LPCWSTR))
    VEL_UNUSED(GetFileName(LPWSTR *))
    VEL_UNUSED(SetTitle(LPCWSTR))
    VEL_UNUSED(SetOkButtonLabel(LPCWSTR))
    VEL_UNUSED(SetFileNameLabel(LPCWSTR))
    VEL_UNUSED(AddPlace(IShellItem *, FDAP))
    VEL_UNUSED(SetDefaultExtension(LPCWSTR))
    VEL_UNUSED(Close(HRESULT))
    VEL_UNUSED(SetClientGuid(REFGUID))
    VEL_UNUSED(ClearClientData())
    VEL_UNUSED(SetFilter(IShellItemFilter *))
    VEL_UNUSED(GetResults(IShellItemArray **))
    VEL_UNUSED(GetSelectedItems(IShellItemArray **))
};

#pragma GCC diagnostic pop

HRESULT WINAPI createFake(REFCLSID id, LPUNKNOWN, DWORD context, REFIID interface_id, void **object)
{
    static FakeDialog dialog;
    EXPECT_TRUE(id == CLSID_FileOpenDialog);
    EXPECT_TRUE(interface_id == IID_IFileOpenDialog);
    EXPECT_EQ(context, 23U);
    const HRESULT result = script.step("CoCreateInstance");
    if (SUCCEEDED(result)) {
        dialog.AddRef();
        *object = static_cast<IFileOpenDialog *>(&dialog);
    }
    return result;
}

void (*free_path)(void *);

void WINAPI countFree(void *path)
{
    script.paths_freed++;
    free_path(path);
}

/// Runs the dialog with one step failing, or none.
class VelGuiFileDialog : public testing::Test
{
protected:
    void SetUp() override
    {
        script = DialogScript();
        free_path = frees.original();
    }

    VelImportPatch<decltype(createFake)> creates{"CoCreateInstance", &createFake};
    VelImportPatch<decltype(countFree)> frees{"CoTaskMemFree", &countFree};
    const std::vector<std::string> all_steps = {
        "CoCreateInstance", "GetOptions", "SetOptions", "Show", "GetResult", "GetDisplayName"};
};

} // namespace

TEST_F(VelGuiFileDialog, GivesThePathAsUtf8)
{
    g_autofree gchar *path = vel_gui_open_file_dialog(nullptr);
    EXPECT_STREQ(path, "Z:\\\xC3\xA4 \xE2\x82\xAC\\file.csv");
    EXPECT_EQ(script.paths_freed, 1);
    EXPECT_EQ(script.dialogs, 0);
    EXPECT_EQ(script.items, 0);
}

TEST_F(VelGuiFileDialog, AsksForFilesOnlyAndSetsNothingElse)
{
    HWND owner = GetDesktopWindow();
    g_autofree gchar *path = vel_gui_open_file_dialog(owner);
    EXPECT_EQ(script.steps, all_steps);
    EXPECT_EQ(script.options,
              static_cast<DWORD>(FOS_PATHMUSTEXIST | FOS_FILEMUSTEXIST | FOS_FORCEFILESYSTEM));
    EXPECT_EQ(script.owner, owner);
    EXPECT_EQ(script.form, SIGDN_FILESYSPATH);
}

TEST_F(VelGuiFileDialog, AFailedStepIsTheLastOneAndGivesNoPath)
{
    for (size_t place = 0; place < all_steps.size(); place++) {
        script = DialogScript();
        script.failing = all_steps[place];
        g_autofree gchar *path = vel_gui_open_file_dialog(nullptr);
        EXPECT_EQ(path, nullptr) << script.failing;
        EXPECT_EQ(script.steps.size(), place + 1) << script.failing;
        EXPECT_EQ(script.dialogs, 0) << script.failing;
        EXPECT_EQ(script.items, 0) << script.failing;
        EXPECT_EQ(script.paths_freed, 0) << script.failing;
    }
}

TEST_F(VelGuiFileDialog, APathThatIsNoUnicodeIsNoPath)
{
    script.path = L"Z:\\\xD800.csv";
    g_autofree gchar *path = vel_gui_open_file_dialog(nullptr);
    EXPECT_EQ(path, nullptr);
    EXPECT_EQ(script.paths_freed, 1);
    EXPECT_EQ(script.items, 0);
}

TEST(VelGuiFileDialogWithoutCom, GivesNoPath)
{
    g_autofree gchar *path = vel_gui_open_file_dialog(nullptr);
    EXPECT_EQ(path, nullptr);
}
