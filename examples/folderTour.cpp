// Makes a tree, copies it, counts and lists the copy, and clears up.
#include <tarnwillow/files/folderOperations.h>
#include <tarnwillow/files/folderQueries.h>
#include <tarnwillow/text/CAutoAnsiString.h>
#include <tarnwillow/text/CAutoUnicodeString.h>

#include <cstdio>
#include <string>

using namespace tarnwillow;

bool print(char16_t const* path, int depth, void*) {
    std::printf("%d %s\n", depth, static_cast<char const*>(CAutoAnsiString(path)));
    return true;
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::string base = argv[1];  // an absolute path: CopyFolder changes the directory
    DirCreate((base + "/album/covers/small").c_str());
    if (CopyFolder((base + "/album").c_str(), (base + "/backup").c_str()) != 0) return 1;

    const CAutoUnicodeString backup((base + "/backup").c_str());
    unsigned long files = 0, folders = 0;
    Count_Folder_Items(backup, &files, &folders, true);
    std::printf("%lu files, %lu folders\n", files, folders);
    IterateSubFolders(backup, print, nullptr, 10);
    return DirDestroyAll(base.c_str());
}
