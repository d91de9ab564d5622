#include "tarnwillow/platform/systemError.h"

#include <cerrno>

#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

std::uint32_t error_from_errno(int error) {
    switch (error) {
        case 0:
            return 0;
        case ENOENT:
        case ENOTDIR:
            return ERROR_FILE_NOT_FOUND;
        case EBADF:
            return ERROR_INVALID_HANDLE;
        case ENOMEM:
        case ENOSPC:
        case EDQUOT:
        case EMFILE:
        case ENFILE:
        case EAGAIN:
            return ERROR_NOT_ENOUGH_MEMORY;
        case ENAMETOOLONG:
            return ERROR_FILENAME_EXCED_RANGE;
        case EXDEV:
            return ERROR_NOT_SAME_DEVICE;
        case ENOTEMPTY:
        case EEXIST:
            return ERROR_ALREADY_EXISTS;
        case EINVAL:
        case ESRCH:
            return ERROR_INVALID_PARAMETER;
        case ENOSYS:
        case EOPNOTSUPP:
            return ERROR_NOT_SUPPORTED;
        default:
            return ERROR_ACCESS_DENIED;
    }
}

}  // namespace tarnwillow::platform
