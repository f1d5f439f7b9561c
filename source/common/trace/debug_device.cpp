// The debug device: one message to any combination of six devices, and the
// hexadecimal dump built on it.
#include <ctype.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "orvane/debug.h"
#include "orvane/files.h"
#include "platform/pal.h"
#include "platform/pal_window.h"

extern "C" {

ORV_API char TraceBuffer[ORV_DEBUG_TRACE_BUFFER_SIZE];
ORV_API orvFile *TraceLogFile = nullptr;
ORV_API const char *TraceLogName = "debug.log";
ORV_API uintptr_t DebugEditWnd = 0;

ORV_API uint32_t TraceDevice = 0;
ORV_API uint32_t ShowDevice = 0;
ORV_API uint32_t TraceActions = 0;
ORV_API uintptr_t TraceWnd = 0;
ORV_API uint32_t DebugOptionsOn = 0;
ORV_API char TraceFormat[ORV_DEBUG_TRACE_FORMAT_SIZE];
ORV_API char TraceHeader[ORV_DEBUG_TRACE_HEADER_SIZE];
ORV_API uint32_t CurrTrap27 = 0;
ORV_API uint32_t ErrComp27 = 0;
ORV_API char ErrMsg27[ORV_DEBUG_ERRMSG_SIZE];
ORV_API uint32_t ErrNum27 = 0;

}  // extern "C"

namespace {

constexpr uint32_t kOpenableDevices =
    ORV_DEBUG_STDOUT | ORV_DEBUG_STDERR | ORV_DEBUG_LOGFILE | ORV_DEBUG_MSGBOX | ORV_DEBUG_WINDOW;
constexpr uint32_t kAllDevices = kOpenableDevices | ORV_DEBUG_DEBUGGER;
constexpr const char kCaption[] = "Debug";

// Bytes of a dump line: 16 groups of three, a space, 16 characters, NUL.
constexpr size_t kDumpLineSize = 16 * 3 + 1 + 16 + 1;
char dumpLine[kDumpLineSize];

// "prefix: text\n", or "text\n" without a prefix, in a heap buffer sized
// from the two lengths; null when memory runs out.
char *formatLine(const char *prefix, const char *text, size_t *length) {
  size_t textLength = strlen(text);
  size_t prefixLength = prefix != nullptr ? strlen(prefix) : 0;
  size_t size = prefixLength + textLength + 4;
  char *line = static_cast<char *>(malloc(size));
  if (line == nullptr) {
    return nullptr;
  }
  int n =
      prefix != nullptr ? snprintf(line, size, "%s: %s\n", prefix, text) : snprintf(line, size, "%s\n", text);
  *length = n > 0 ? static_cast<size_t>(n) : 0;
  return line;
}

void writeToStandardFile(short which, const char *line, size_t length) {
  orvFile *file = orvFileGetStdPtr(which);
  if (file == nullptr) {
    return;
  }
  orvFileWrite(file, line, static_cast<uint32_t>(length));
  orvFileFlush(file);
}

// The log file: opened for update when it exists and created otherwise,
// written at its end, flushed and closed, so that it is complete after
// every message. Skipped silently when it cannot be opened.
void appendToLogFile(const char *line, size_t length) {
  if (TraceLogName == nullptr) {
    return;
  }
  int error = 0;
  TraceLogFile = orvFileOpen(ORV_FILE_READ | ORV_FILE_WRITE | ORV_FILE_MUST_EXIST, ORV_FILE_TAG_PATH,
                             TraceLogName, ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END);
  if (TraceLogFile == nullptr) {
    TraceLogFile = orvFileOpen(ORV_FILE_WRITE | ORV_FILE_CREATE, ORV_FILE_TAG_PATH, TraceLogName,
                               ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END);
  }
  if (TraceLogFile == nullptr) {
    return;
  }
  if (orvFileSeek(TraceLogFile, 0, ORV_FILE_SEEK_END) != 0) {
    orvFileWrite(TraceLogFile, line, static_cast<uint32_t>(length));
    orvFileFlush(TraceLogFile);
  }
  orvFileClose(TraceLogFile, 0);
  TraceLogFile = nullptr;
}

void appendToWindow(const char *text) {
  pal::sendMessage(DebugEditWnd, pal::kEmReplaceSel, 0, reinterpret_cast<intptr_t>(text));
}

// The log file created afresh with the opening header. False when it cannot
// be created.
bool createLogFile() {
  if (TraceLogName == nullptr) {
    return false;
  }
  int error = 0;
  TraceLogFile = orvFileOpen(ORV_FILE_WRITE | ORV_FILE_CREATE, ORV_FILE_TAG_PATH, TraceLogName,
                             ORV_FILE_TAG_ERROR_OUT, &error, ORV_FILE_TAG_END);
  if (TraceLogFile == nullptr) {
    return false;
  }
  orvFileWrite(TraceLogFile, TraceBuffer, static_cast<uint32_t>(strlen(TraceBuffer)));
  orvFileWrite(TraceLogFile, "\n", 1);
  orvFileFlush(TraceLogFile);
  orvFileClose(TraceLogFile, 0);
  TraceLogFile = nullptr;
  return true;
}

// A byte shown as itself in a dump: not negative as a signed char, and a
// letter, digit, punctuation or blank.
bool printableInDump(unsigned char byte) {
  return byte < 0x80 && (isalnum(byte) || ispunct(byte) || isblank(byte));
}

}  // namespace

extern "C" {

ORV_API void debug_OpenDevice(uint32_t *deviceSet, uint32_t bits, uintptr_t value) {
  time_t now = time(nullptr);
  const char *when = ctime(&now);
  snprintf(TraceBuffer, sizeof TraceBuffer, "DEBUG (%" PRIXPTR "): %s", value, when != nullptr ? when : "");
  if (deviceSet == nullptr) {
    return;
  }
  *deviceSet |= bits & kOpenableDevices;
  if ((bits & ORV_DEBUG_LOGFILE) != 0 && !createLogFile()) {
    *deviceSet &= ~ORV_DEBUG_LOGFILE;
    pal::messageBox("Cannot open debug log file.", kCaption, pal::kMbIconInformation);
  }
  if ((bits & ORV_DEBUG_WINDOW) != 0) {
    DebugEditWnd = value;
    if (value == 0) {
      *deviceSet &= ~ORV_DEBUG_WINDOW;
      pal::messageBox("Debug output window is invalid", kCaption, pal::kMbIconInformation);
    }
  }
}

ORV_API void debug_CloseDevice(uint32_t *deviceSet, uint32_t bits) {
  if (deviceSet == nullptr) {
    return;
  }
  *deviceSet &= ~(bits & kAllDevices);
  if ((bits & ORV_DEBUG_LOGFILE) != 0 && TraceLogFile != nullptr) {
    orvFileClose(TraceLogFile, 0);
    TraceLogFile = nullptr;
  }
  if ((bits & ORV_DEBUG_WINDOW) != 0) {
    DebugEditWnd = 0;
  }
}

ORV_API void debug_Print(uint32_t deviceSet, const char *prefix, const char *text) {
  if (text == nullptr) {
    text = "";
  }
  if ((deviceSet & (ORV_DEBUG_STDOUT | ORV_DEBUG_STDERR | ORV_DEBUG_LOGFILE)) != 0) {
    size_t length = 0;
    if (char *line = formatLine(prefix, text, &length)) {
      if ((deviceSet & ORV_DEBUG_STDOUT) != 0) {
        writeToStandardFile(1, line, length);
      }
      if ((deviceSet & ORV_DEBUG_STDERR) != 0) {
        writeToStandardFile(2, line, length);
      }
      if ((deviceSet & ORV_DEBUG_LOGFILE) != 0) {
        appendToLogFile(line, length);
      }
      free(line);
    }
  }
  if ((deviceSet & ORV_DEBUG_DEBUGGER) != 0) {
    if (prefix != nullptr) {
      pal::outputDebugString(prefix);
      pal::outputDebugString(": ");
    }
    pal::outputDebugString(text);
    pal::outputDebugString("\r\n");
  }
  if ((deviceSet & ORV_DEBUG_MSGBOX) != 0) {
    pal::messageBox(text, prefix != nullptr ? prefix : kCaption, pal::kMbOk);
  }
  if ((deviceSet & ORV_DEBUG_WINDOW) != 0 && DebugEditWnd != 0) {
    if (prefix != nullptr) {
      appendToWindow(prefix);
      appendToWindow(": ");
    }
    appendToWindow(text);
    appendToWindow("\r\r\n");
  }
}

ORV_API void debug_Dump(uint32_t deviceSet, const char *title, const void *address, uint32_t length) {
  char prefix[2 * sizeof(uintptr_t) + 1];
  if (title != nullptr) {
    debug_Print(deviceSet, title, "");
  }
  auto base = reinterpret_cast<uintptr_t>(address);
  if (length == 0 || address == nullptr) {
    snprintf(prefix, sizeof prefix, "%08" PRIxPTR, base);
    debug_Print(deviceSet, prefix, "No data");
    return;
  }
  const auto *bytes = static_cast<const unsigned char *>(address);
  for (uint32_t offset = 0; offset < length; offset += 16) {
    uint32_t count = length - offset < 16 ? length - offset : 16;
    char *out = dumpLine;
    for (uint32_t i = 0; i < 16; ++i) {
      if (i < count) {
        static const char kHex[] = "0123456789abcdef";
        unsigned char b = bytes[offset + i];
        *out++ = kHex[b >> 4];
        *out++ = kHex[b & 0xF];
        *out++ = ' ';
      } else {
        memcpy(out, "   ", 3);
        out += 3;
      }
    }
    *out++ = ' ';
    for (uint32_t i = 0; i < count; ++i) {
      unsigned char b = bytes[offset + i];
      *out++ = printableInDump(b) ? static_cast<char>(b) : '.';
    }
    *out = '\0';
    snprintf(prefix, sizeof prefix, "%08" PRIxPTR, base + offset);
    debug_Print(deviceSet, prefix, dumpLine);
  }
}

}  // extern "C"
