// The table from Win32 error numbers to the file layer's codes.
#include "common/files/file_errors.h"

namespace files {

int32_t codeFromWin32Error(uint32_t error) {
  switch (error) {
    case 0:
      return 0;
    case 2:  // file not found
      return -17;
    case 3:    // path not found
    case 161:  // bad path name
      return -39;
    case 4:  // too many open files
      return -50;
    case 5:  // access denied
      return -2;
    case 6:     // invalid handle
    case 114:   // invalid target handle
    case 1006:  // file invalidated
      return -25;
    case 8:  // not enough memory
      return -36;
    case 9:  // invalid block
      return -22;
    case 12:  // invalid access
    case 87:  // invalid parameter
      return -21;
    case 14:  // out of memory
    case 84:  // out of structures
      return -43;
    case 15:  // invalid drive
      return -24;
    case 16:  // current directory
      return -10;
    case 17:    // not same device
    case 20:    // bad unit
    case 31:    // general failure
    case 55:    // device not available
    case 1200:  // bad device
      return -23;
    case 19:  // write protected
      return -52;
    case 21:  // not ready
      return -12;
    case 25:   // seek error
    case 132:  // seek on device
      return -45;
    case 27:  // sector not found
      return -44;
    case 29:  // write fault
      return -51;
    case 30:  // read fault
      return -40;
    case 32:  // sharing violation
      return -47;
    case 33:  // lock violation
      return -29;
    case 36:  // sharing buffer exceeded
      return -46;
    case 38:  // handle end of file
      return -1;
    case 39:   // handle disk full
    case 112:  // disk full
      return -13;
    case 51:  // remote not listed
      return -41;
    case 53:    // bad network path
    case 1203:  // no network
      return -8;
    case 54:  // network busy
      return -35;
    case 80:   // file exists
    case 183:  // already exists
      return -15;
    case 82:  // cannot make
      return -9;
    case 108:  // drive locked
      return -14;
    case 110:  // open failed
      return -37;
    case 123:  // invalid name
    case 267:  // directory name invalid
      return -26;
    case 142:  // busy drive
    case 170:  // busy
      return -42;
    case 167:  // lock failed
      return -28;
    case 206:  // file name too long
      return -34;
    case 487:  // invalid address
      return -7;
    case 995:  // operation aborted
    case 996:  // I/O incomplete
      return -38;
    default:
      return kCodeUnknown;
  }
}

}  // namespace files
