// The shell's file-open dialog. Every failure, the user's cancel included, comes out as no path.
#include "vel_gui.h"

#include <objbase.h>
#include <shobjidl.h>

/// Asks for files of the file system only: a path is wanted, not a shell item.
static HRESULT vel_gui_file_dialog_set_options(IFileOpenDialog *dialog)
{
    FILEOPENDIALOGOPTIONS options = 0;
    const HRESULT result = dialog->GetOptions(&options);
    if (FAILED(result))
        return result;
    return dialog->SetOptions(options | FOS_FORCEFILESYSTEM);
}

/// @return UTF-8 path of a shell item, caller frees with g_free; null when it has none
static gchar *vel_gui_file_dialog_item_path(IShellItem *item)
{
    LPWSTR utf_16 = nullptr;
    if (FAILED(item->GetDisplayName(SIGDN_FILESYSPATH, &utf_16)))
        return nullptr;
    gchar *path =
        g_utf16_to_utf8(reinterpret_cast<const gunichar2 *>(utf_16), -1, nullptr, nullptr, nullptr);
    CoTaskMemFree(utf_16);
    return path;
}

/// Runs the dialog.
/// @return the file's path as vel_gui_open_file_dialog() gives it
static gchar *vel_gui_file_dialog_run(IFileOpenDialog *dialog, HWND owner)
{
    IShellItem *item = nullptr;
    if (FAILED(vel_gui_file_dialog_set_options(dialog)) || FAILED(dialog->Show(owner)) ||
        FAILED(dialog->GetResult(&item)))
        return nullptr;
    gchar *path = vel_gui_file_dialog_item_path(item);
    item->Release();
    return path;
}

gchar *vel_gui_open_file_dialog(HWND owner)
{
    void *object = nullptr;
    if (FAILED(CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_ALL, IID_IFileOpenDialog,
                                &object)))
        return nullptr;
    auto *dialog = static_cast<IFileOpenDialog *>(object);
    gchar *path = vel_gui_file_dialog_run(dialog, owner);
    dialog->Release();
    return path;
}
