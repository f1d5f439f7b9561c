// errno values as Win32 error numbers.
#include "platform/posix/errno_map.h"

#include <errno.h>

#include "platform/pal.h"

namespace pal::posix {

uint32_t win32ErrorFromErrno(int error, IoDirection direction) {
  switch (error) {
    case 0:
      return kErrorSuccess;
    case ENOENT:
      return kErrorFileNotFound;
    case ENOTDIR:
      return kErrorPathNotFound;
    case EMFILE:
      return kErrorTooManyOpenFiles;
    case EACCES:
    case EPERM:
    case EISDIR:
      return kErrorAccessDenied;
    case EBADF:
      return kErrorInvalidHandle;
    case ENOMEM:
      return kErrorNotEnoughMemory;
    case EINVAL:
      return kErrorInvalidParameter;
    case EEXIST:
      return kErrorFileExists;
    case ENOSPC:
    case EFBIG:
      return kErrorDiskFull;
    case EROFS:
      return kErrorWriteProtect;
    case ENAMETOOLONG:
      return kErrorFilenameTooLong;
    case EBUSY:
    case ETXTBSY:
      return kErrorSharingViolation;
    case EIO:
      switch (direction) {
        case IoDirection::Read:
          return kErrorReadFault;
        case IoDirection::Write:
          return kErrorWriteFault;
        case IoDirection::Other:
          break;
      }
      return kErrorGenFailure;
    case EXDEV:
      return kErrorNotSameDevice;
    case ENOTEMPTY:
      return kErrorDirNotEmpty;
    default:
      return kErrorGenFailure;
  }
}

void setLastErrorFromErrno(int error, IoDirection direction) {
  setLastError(win32ErrorFromErrno(error, direction));
}

}  // namespace pal::posix
