// Icons from files: PNG images, and ICO files with entries in either of their forms.
//
// A file may hold anything: what is no icon, or is damaged, gives none. Files of more than 16 MB
// and images of more than 1,024 pixels in either direction are refused. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// An icon of this process. Never a pointer to follow.
using HICON = struct HICON__*;

/// Loads the icon of a file for the sizes 32 (`large`) and 16 (`small`); either pointer may be
/// null. Of the images in an ICO file it is the smallest that is not smaller than that, else the
/// largest, and of equal ones that with the most colours; nothing is scaled. A PNG file is one
/// image. Files have one icon: any `index` but 0, and a `count` of 0, give nothing. Gives the
/// number of icons stored; the others are null. The caller ends each with DestroyIcon.
TARNWILLOW_API unsigned ExtractIconExW(char16_t const* file, int index, HICON* large, HICON* small,
                                       unsigned count);

/// False for a value that is no living icon.
TARNWILLOW_API bool DestroyIcon(HICON icon);

/// Stores width and height in pixels.
TARNWILLOW_API bool Get_Icon_Size(HICON icon, int* width, int* height);

/// Copies the pixels from the top left corner on, row by row, each 0xAARRGGBB with the colours not
/// multiplied by alpha. False if there are more than `room` of them.
TARNWILLOW_API bool Get_Icon_Pixels(HICON icon, std::uint32_t* dest, std::size_t room);

}  // namespace tarnwillow
