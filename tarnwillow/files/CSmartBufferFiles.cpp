// CSmartBuffer's traffic with files, which lies above the buffer itself.
#include "tarnwillow/files/CDiskFile.h"
#include "tarnwillow/text/CSmartBuffer.h"

namespace tarnwillow {

long CSmartBuffer::Initialize_From_File(CDiskFile* file) {
    if (file == nullptr) return E_INVALIDARG;
    const long length = file->GetLength();
    if (const long result = Initialize(length); result != 0) return result;
    if (const long result = file->Read(Buffer, length); result != 0) return result;
    Current_Offset = End_Of_Data = Max_Size;
    return 0;
}

long CSmartBuffer::Flush_To_File(CDiskFile* file) {
    if (file == nullptr) return E_INVALIDARG;
    if (Is_Unicode)
        if (const long result = file->Write_Unicode_Header(); result != 0) return result;
    return file->Write(Buffer, static_cast<long>(End_Of_Data), false);
}

}  // namespace tarnwillow
