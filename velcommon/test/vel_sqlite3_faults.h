// Databases in folders where nothing can be made and on disks that fail: SQLite's way to files goes
// through here and on to the system's own.
#pragma once

#include <sqlite3.h>

/// What goes wrong with the files of all databases that are opened while it is installed.
struct VelSqlite3Faults {
    bool folder_is_read_only = false;   ///< Files that are not there cannot be made.
    bool database_is_read_only = false; ///< Databases can be read and not written.
    int failing_write = 0;            ///< The n-th write, cut or flush from now on, and all others.
    int failure = SQLITE_IOERR_WRITE; ///< How they fail.
    int writes = 0;                   ///< How many there have been.
};

inline VelSqlite3Faults vel_sqlite3_faults;

/// A file of the system's behind one of ours.
struct VelSqlite3File {
    sqlite3_file base;
    sqlite3_file *real; ///< Lies right behind this.
};

inline sqlite3_vfs *vel_sqlite3_system = nullptr;

inline sqlite3_file *vel_sqlite3_real(sqlite3_file *file)
{
    return reinterpret_cast<VelSqlite3File *>(file)->real;
}

inline const sqlite3_io_methods *vel_sqlite3_methods(sqlite3_file *file)
{
    return vel_sqlite3_real(file)->pMethods;
}

inline bool vel_sqlite3_write_fails()
{
    VelSqlite3Faults &faults = vel_sqlite3_faults;
    faults.writes++;
    return faults.failing_write > 0 && faults.writes >= faults.failing_write;
}

inline int vel_sqlite3_close(sqlite3_file *file)
{
    return vel_sqlite3_methods(file)->xClose(vel_sqlite3_real(file));
}

inline int vel_sqlite3_read(sqlite3_file *file, void *bytes, int n, sqlite3_int64 offset)
{
    return vel_sqlite3_methods(file)->xRead(vel_sqlite3_real(file), bytes, n, offset);
}

inline int vel_sqlite3_write(sqlite3_file *file, const void *bytes, int n, sqlite3_int64 offset)
{
    if (vel_sqlite3_write_fails())
        return vel_sqlite3_faults.failure;
    return vel_sqlite3_methods(file)->xWrite(vel_sqlite3_real(file), bytes, n, offset);
}

inline int vel_sqlite3_truncate(sqlite3_file *file, sqlite3_int64 size)
{
    if (vel_sqlite3_write_fails())
        return vel_sqlite3_faults.failure;
    return vel_sqlite3_methods(file)->xTruncate(vel_sqlite3_real(file), size);
}

inline int vel_sqlite3_sync(sqlite3_file *file, int flags)
{
    if (vel_sqlite3_write_fails())
        return vel_sqlite3_faults.failure;
    return vel_sqlite3_methods(file)->xSync(vel_sqlite3_real(file), flags);
}

inline int vel_sqlite3_size(sqlite3_file *file, sqlite3_int64 *size)
{
    return vel_sqlite3_methods(file)->xFileSize(vel_sqlite3_real(file), size);
}

inline int vel_sqlite3_lock(sqlite3_file *file, int level)
{
    return vel_sqlite3_methods(file)->xLock(vel_sqlite3_real(file), level);
}

inline int vel_sqlite3_unlock(sqlite3_file *file, int level)
{
    return vel_sqlite3_methods(file)->xUnlock(vel_sqlite3_real(file), level);
}

inline int vel_sqlite3_check_lock(sqlite3_file *file, int *is_reserved)
{
    return vel_sqlite3_methods(file)->xCheckReservedLock(vel_sqlite3_real(file), is_reserved);
}

inline int vel_sqlite3_control(sqlite3_file *file, int code, void *argument)
{
    return vel_sqlite3_methods(file)->xFileControl(vel_sqlite3_real(file), code, argument);
}

inline int vel_sqlite3_sector_size(sqlite3_file *file)
{
    return vel_sqlite3_methods(file)->xSectorSize(vel_sqlite3_real(file));
}

inline int vel_sqlite3_device(sqlite3_file *file)
{
    return vel_sqlite3_methods(file)->xDeviceCharacteristics(vel_sqlite3_real(file));
}

inline sqlite3_io_methods vel_sqlite3_make_methods()
{
    sqlite3_io_methods methods = {};
    methods.iVersion = 1;
    methods.xClose = vel_sqlite3_close;
    methods.xRead = vel_sqlite3_read;
    methods.xWrite = vel_sqlite3_write;
    methods.xTruncate = vel_sqlite3_truncate;
    methods.xSync = vel_sqlite3_sync;
    methods.xFileSize = vel_sqlite3_size;
    methods.xLock = vel_sqlite3_lock;
    methods.xUnlock = vel_sqlite3_unlock;
    methods.xCheckReservedLock = vel_sqlite3_check_lock;
    methods.xFileControl = vel_sqlite3_control;
    methods.xSectorSize = vel_sqlite3_sector_size;
    methods.xDeviceCharacteristics = vel_sqlite3_device;
    return methods;
}

inline int vel_sqlite3_open(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags,
                            int *out_flags)
{
    static const sqlite3_io_methods methods = vel_sqlite3_make_methods();
    sqlite3_vfs *const system = vel_sqlite3_system;
    auto *const ours = reinterpret_cast<VelSqlite3File *>(file);
    *ours = {{nullptr}, reinterpret_cast<sqlite3_file *>(ours + 1)};
    int exists = 1;
    if (vel_sqlite3_faults.folder_is_read_only && name != nullptr)
        system->xAccess(system, name, SQLITE_ACCESS_EXISTS, &exists);
    if (!exists)
        return SQLITE_CANTOPEN;
    const int writable = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    if (vel_sqlite3_faults.database_is_read_only && (flags & SQLITE_OPEN_MAIN_DB) != 0)
        flags = (flags & ~writable) | SQLITE_OPEN_READONLY;
    const int result = system->xOpen(system, name, ours->real, flags, out_flags);
    if (ours->real->pMethods != nullptr)
        ours->base.pMethods = &methods;
    return result;
}

/// Lets all databases that are opened from now on go through here, for the rest of the process.
inline void vel_sqlite3_install_faults()
{
    static sqlite3_vfs ours;
    vel_sqlite3_faults = {};
    if (vel_sqlite3_system != nullptr)
        return;
    vel_sqlite3_system = sqlite3_vfs_find(nullptr);
    ours = *vel_sqlite3_system;
    ours.zName = "faults";
    ours.pNext = nullptr;
    ours.szOsFile = static_cast<int>(sizeof(VelSqlite3File)) + vel_sqlite3_system->szOsFile;
    ours.xOpen = vel_sqlite3_open;
    sqlite3_vfs_register(&ours, 1);
}
