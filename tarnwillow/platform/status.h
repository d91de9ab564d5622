// Status values: one list with number, name and text.
//
// A status is a `long`; 0 is success and everything else failure. Two families share the type:
// negative codes of the result layout (severity, facility, code) and small positive error numbers.
// So a status is compared with 0 or with a constant, never tested by its sign.
#pragma once

#include <cstdint>

namespace tarnwillow {

/// A status from its 32-bit pattern. `long` has 64 bits here: the pattern is sign-extended, so that
/// codes with the severity bit are negative and equal to the constants below.
constexpr long status(std::uint32_t pattern) {
    return static_cast<long>(static_cast<std::int32_t>(pattern));
}

// clang-format off
#define TARNWILLOW_STATUS_LIST(X)                                                                            \
    X(S_OK,                                   0x00000000, "The operation succeeded")                         \
    X(ERROR_FILE_NOT_FOUND,                   2,          "The file was not found")                          \
    X(ERROR_ACCESS_DENIED,                    5,          "Access is denied")                                \
    X(ERROR_INVALID_HANDLE,                   6,          "The handle is not valid")                         \
    X(ERROR_NOT_ENOUGH_MEMORY,                8,          "Not enough memory or handles")                    \
    X(ERROR_NOT_SAME_DEVICE,                  17,         "The two places are on different disks")           \
    X(ERROR_WRITE_FAULT,                      29,         "The file could not be written")                   \
    X(ERROR_NOT_SUPPORTED,                    50,         "The request is not supported")                    \
    X(ERROR_DUP_NAME,                         52,         "The name exists already")                         \
    X(ERROR_INVALID_PARAMETER,                87,         "A parameter is not valid")                        \
    X(ERROR_DISK_FULL,                        112,        "The disk is full")                                \
    X(ERROR_INSUFFICIENT_BUFFER,              122,        "The buffer is too small")                         \
    X(ERROR_MOD_NOT_FOUND,                    126,        "The module was not found")                        \
    X(ERROR_PROC_NOT_FOUND,                   127,        "The procedure was not found")                     \
    X(ERROR_BUSY,                             170,        "The resource is in use")                          \
    X(ERROR_ALREADY_EXISTS,                   183,        "The object exists already")                       \
    X(ERROR_FILENAME_EXCED_RANGE,             206,        "The name is too long")                            \
    X(ERROR_MORE_DATA,                        234,        "More data is available")                          \
    X(WAIT_TIMEOUT,                           258,        "The wait timed out")                              \
    X(ERROR_NO_MORE_ITEMS,                    259,        "There are no more items")                         \
    X(STILL_ACTIVE,                           259,        "The thread or process still runs")                \
    X(ERROR_DIRECTORY,                        267,        "The folder is not one that will do")              \
    X(ERROR_NOT_OWNER,                        288,        "The caller does not own the mutex")               \
    X(ERROR_INVALID_ADDRESS,                  487,        "The address is not of this kind")                 \
    X(ERROR_FILE_INVALID,                     1006,       "The file is not open for this")                   \
    X(ERROR_REGISTRY_CORRUPT,                 1015,       "The settings store cannot be read")               \
    X(ERROR_REGISTRY_IO_FAILED,               1016,       "The settings store could not be read or written") \
    X(ERROR_KEY_DELETED,                      1018,       "The key has been deleted")                        \
    X(ERROR_SERVICE_REQUEST_TIMEOUT,          1053,       "The service did not answer in time")              \
    X(ERROR_NOT_FOUND,                        1168,       "The element was not found")                       \
    X(ERROR_CANCELLED,                        1223,       "The operation was cancelled")                     \
    X(ERROR_FILE_CORRUPT,                     1392,       "The file is damaged or ended too early")          \
    X(ERROR_WINHTTP_TIMEOUT,                  12002,      "The server did not answer in time")               \
    X(ERROR_WINHTTP_NAME_NOT_RESOLVED,        12007,      "The server's name is not known")                  \
    X(ERROR_WINHTTP_CANNOT_CONNECT,           12029,      "The server cannot be reached")                    \
    X(ERROR_WINHTTP_CONNECTION_ERROR,         12030,      "The connection was lost")                         \
    X(ERROR_WINHTTP_SECURE_CERT_DATE_INVALID, 12037,      "The certificate is out of date")                  \
    X(ERROR_WINHTTP_SECURE_CERT_CN_INVALID,   12038,      "The certificate is for another name")             \
    X(ERROR_WINHTTP_CLIENT_AUTH_CERT_NEEDED,  12044,      "A client certificate is needed")                  \
    X(ERROR_WINHTTP_SECURE_INVALID_CA,        12045,      "The authority is not known")                      \
    X(ERROR_WINHTTP_INVALID_SERVER_RESPONSE,  12152,      "The server's answer cannot be read")              \
    X(ERROR_WINHTTP_SECURE_CHANNEL_ERROR,     12157,      "The secure connection failed")                    \
    X(ERROR_WINHTTP_SECURE_INVALID_CERT,      12169,      "The certificate is not valid")                    \
    X(ERROR_WINHTTP_SECURE_CERT_REVOKED,      12170,      "The certificate was revoked")                     \
    X(DISP_E_UNKNOWNINTERFACE,                0x80020001, "The interface is not known here")                 \
    X(DISP_E_MEMBERNOTFOUND,                  0x80020003, "There is no such member of that kind")            \
    X(DISP_E_TYPEMISMATCH,                    0x80020005, "The value is of the wrong type")                  \
    X(DISP_E_UNKNOWNNAME,                     0x80020006, "The name is not known")                           \
    X(DISP_E_BADVARTYPE,                      0x80020008, "The type is not one of a variant")                \
    X(DISP_E_EXCEPTION,                       0x80020009, "An exception occurred")                           \
    X(DISP_E_OVERFLOW,                        0x8002000A, "The value is out of range")                       \
    X(DISP_E_BADPARAMCOUNT,                   0x8002000E, "There are too many arguments")                    \
    X(DISP_E_PARAMNOTOPTIONAL,                0x8002000F, "An argument is missing")                          \
    X(DISP_E_BUFFERTOOSMALL,                  0x80020013, "The text does not fit the buffer")                \
    X(E_NOTIMPL,                              0x80004001, "Not implemented")                                 \
    X(E_NOINTERFACE,                          0x80004002, "No such interface")                               \
    X(E_FAIL,                                 0x80004005, "Unspecified error")                               \
    X(E_UNEXPECTED,                           0x8000FFFF, "The object is in the wrong state")                \
    X(E_OUTOFMEMORY,                          0x8007000E, "Not enough memory")                               \
    X(E_INVALIDARG,                           0x80070057, "An argument is not valid")                        \
    X(STATUS_INVALID_INFO_CLASS,              0xC0000003, "No such class of information")                    \
    X(STATUS_INFO_LENGTH_MISMATCH,            0xC0000004, "The length does not fit the class")               \
    X(STATUS_INVALID_HANDLE,                  0xC0000008, "The handle is not valid")
// clang-format on

#define TARNWILLOW_STATUS_CONSTANT(name, number, text) \
    inline constexpr long name = ::tarnwillow::status(number);
TARNWILLOW_STATUS_LIST(TARNWILLOW_STATUS_CONSTANT)
#undef TARNWILLOW_STATUS_CONSTANT

/// A system error number as a status: a number above 0 becomes its low 16 bits joined to
/// 0x80070000; 0 and negative values pass unchanged.
constexpr long HRESULT_FROM_WIN32(long error) {
    return error > 0 ? status(static_cast<std::uint32_t>(error & 0xFFFF) | 0x80070000U) : error;
}

}  // namespace tarnwillow
