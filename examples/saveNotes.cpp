// Saves notes so that there never is half a file: all of the new content, or none.
#include <tarnwillow/files/CDiskFile.h>

#include <cstdio>

using namespace tarnwillow;

int save(char const* path, char const* text) {
    CDiskFile file;
    const int status = file.Open_With_Rollback(path);
    if (status != 0) return status;
    if (file.Write_Str(text) != 0) {
        file.Rollback();
        return 1;
    }
    return file.Close();  // 52: something stands at the path by now, and stays
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    std::remove(argv[1]);
    if (save(argv[1], "milk\n") != 0) return 1;

    CDiskFile file;
    char text[16] = {};
    if (file.Open(argv[1], false, false) != 0 || file.Read(text, file.GetLength()) != 0) return 1;
    std::fputs(text, stdout);
}
