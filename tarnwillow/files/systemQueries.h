// The system's folders and disks, and times as texts.
//
// Paths are UTF-8 or UTF-16. An `out` of 256 units, or of 260 where that is told, has room for
// everything. A null pointer gives the failure, or nothing. Any thread.
#pragma once

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/fileTime.h"

namespace tarnwillow {

/// The folder of a number as setup files use them: 24 and 30 the root "/", 20 the fonts
/// "/usr/share/fonts/". 0; for -1 and 65535 as well, and `out` is left alone. ERROR_DIRECTORY
/// (267), and `out` is left alone, for every other number. `out` has room for 260 bytes.
TARNWILLOW_API long Get_Path_From_Directory_ID(long id, char* out);

/// Whether the file system of "/" has that many bytes free.
TARNWILLOW_API bool Check_Free_Disk_Space(unsigned long bytes);

/// Where the first optical disk is mounted, with a "/" at its end; empty if none is. At most 255
/// bytes.
TARNWILLOW_API void Find_CDROM(char* out);

/// "%d/%d/%d" of month, day and year in which the file was made, in universal time; where the file
/// system does not know, of its last change. False, and `out` is left alone, if there is no file.
TARNWILLOW_API bool Get_File_Creation_Date_String(char16_t const* path, char16_t* out);

/// "2010.04.07.09.05.07" in local time: year, month, day, hour, minute, second. Such texts compare
/// as the times do. At most 31 units; empty for a time that has no date.
TARNWILLOW_API void FileTimeToDateString(FILETIME* time, char16_t* out);
TARNWILLOW_API void CurrentTimeToDateString(char16_t* out);

/// Would set or clear a drive's bit in the system's policy for running disks on insertion. Volumes
/// have no drive letters here, so there never is such a drive: ERROR_NOT_FOUND (1168), nothing is
/// changed.
TARNWILLOW_API long Set_Auto_Run(char16_t const* volume_text, bool set);

}  // namespace tarnwillow
