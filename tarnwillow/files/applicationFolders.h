// Where things of the product stand: its folders by kind, the files of modules, running programs.
//
// No operation keeps state; any thread may call.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Kinds of folders. The installer stores each under the name behind it.
enum AppFolder : int {
    AppFolderPlugins = 1,         ///< "Plugins"
    AppFolderPreferences = 2,     ///< "Prefs Folders"
    AppFolderTemplates = 3,       ///< "Templates"
    AppFolderContent = 4,         ///< "Content"
    AppFolderScripts = 5,         ///< "Scripts"
    AppFolderScriptIncludes = 6,  ///< "ScriptIncludes"
    AppFolderBin = 7,             ///< "Bin"
    AppFolderRoot = 8,            ///< "Root"
    AppFolderDatabase = 9,        ///< "Database"
    AppFolderLocalization = 10,   ///< "Localization"
};

/// Stores the folder of that kind, as text of at most 255 characters, in `out`, which has room for
/// 256. It is the value of the application key below HKEY_LOCAL_MACHINE or, with `legacy`, of the
/// product's earlier key there. Whoever stores one ends it with a separator; callers append file
/// names directly, and nothing here adds what is missing. Empty for a kind that is none and for a
/// missing value. If the key cannot be opened: "c:\Tolmeka Folder (you can delete this)\".
TARNWILLOW_API void Get_App_Folder_Path(int kind, char16_t* out, bool legacy);

/// Replaces every "%content%" in the path, in any case, by the folder of kind 4, at most 255 bytes;
/// the wide form also the form that it has after URL encoding, "%25content%25". A missing folder
/// counts as empty. All else between two percent signs is folded to lower case and stays. What was
/// inserted is not looked at again. `max` is the room as Replace_String takes it: -1 says that
/// there is enough; otherwise replacing ends in front of the first one that might not fit.
TARNWILLOW_API void Cannonize_Path(char* path, int max);
TARNWILLOW_API void Cannonize_Path(char16_t* path, int max);

/// Turns each "/" into "\", in place.
TARNWILLOW_API void Clean_Path(char* path);
TARNWILLOW_API void Clean_Path(char16_t* path);

/// The path of a module's file, of the running program for a null module. File systems here tell
/// names apart by case, so the path keeps its own. Cut at `size` - 1 bytes or units. Empty if there
/// is no such file; nothing is stored for a null `out` or a size below 1. For the running program
/// it keeps off the heap and is safe in a signal handler.
TARNWILLOW_API void Get_Module_Full_Path(HINSTANCE module, char* out, int size);
TARNWILLOW_API void Get_Module_Full_Path(HINSTANCE module, char16_t* out, int size);

/// The same: paths have no short form here.
TARNWILLOW_API void Get_Module_Short_Path(HINSTANCE module, char* out, int size);
TARNWILLOW_API void Get_Module_Short_Path(HINSTANCE module, char16_t* out, int size);

/// A handle of a running program of that file name, without folder and compared without ASCII case;
/// null if there is none. Processes are looked at in ascending order of their ids, and the first
/// `skip` that match are passed over. *pid, unless null, becomes the id. The caller closes the
/// handle, which OpenProcess has made with `access`.
TARNWILLOW_API HANDLE GetProcess(char const* name, unsigned long access, unsigned long* pid,
                                 int skip);

}  // namespace tarnwillow
