// POSIX half of the platform core: the last error, the module, the string
// table, the message box, the debugger and sleep.
#include "platform/pal.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "orvane_build_config.h"

namespace pal {

namespace {
thread_local uint32_t tlsLastError = kErrorSuccess;
Handle moduleHandle = kNullHandle;

// Copies src into buffer as LoadStringA does: at most size - 1 characters and
// a NUL; returns the characters copied.
int copyResourceText(const char *src, char *buffer, int size) {
  if (buffer == nullptr || size <= 0) {
    return 0;
  }
  int n = 0;
  while (n < size - 1 && src[n] != '\0') {
    buffer[n] = src[n];
    ++n;
  }
  buffer[n] = '\0';
  return n;
}

// Writes all of text to a descriptor, retrying on interruption.
void writeAll(int fd, const char *text, size_t length) {
  while (length > 0) {
    ssize_t n = ::write(fd, text, length);
    if (n < 0) {
      if (errno == EINTR) {
        continue;
      }
      return;
    }
    text += n;
    length -= static_cast<size_t>(n);
  }
}
}  // namespace

uint32_t getLastError() { return tlsLastError; }

void setLastError(uint32_t error) { tlsLastError = error; }

Handle selfModule() { return moduleHandle; }

void setSelfModule(Handle module) { moduleHandle = module; }

uint32_t executablePath(char *buffer, uint32_t size) {
  if (buffer == nullptr || size == 0) {
    setLastError(kErrorInsufficientBuffer);
    return 0;
  }
  char path[4096];
  ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
  if (n < 0) {
    setLastError(kErrorFileNotFound);
    buffer[0] = '\0';
    return 0;
  }
  path[n] = '\0';
  // GetModuleFileNameA truncates to size - 1 characters and terminates.
  uint32_t count = static_cast<uint32_t>(n) < size - 1 ? static_cast<uint32_t>(n) : size - 1;
  memcpy(buffer, path, count);
  buffer[count] = '\0';
  if (count < static_cast<uint32_t>(n)) {
    setLastError(kErrorInsufficientBuffer);
  }
  return count;
}

int loadString(uint32_t id, char *buffer, int size) {
  switch (id) {
    case ORVANE_RES_PRODUCT_LETTER:
      return copyResourceText(ORVANE_PRODUCT_LETTER, buffer, size);
    case ORVANE_RES_PRODUCT_NAME:
      return copyResourceText(ORVANE_PRODUCT_NAME, buffer, size);
    default:
      if (buffer != nullptr && size > 0) {
        buffer[0] = '\0';
      }
      setLastError(1814);  // ERROR_RESOURCE_NAME_NOT_FOUND
      return 0;
  }
}

int messageBox(const char *text, const char *caption, uint32_t /*style*/) {
  // No window system: one line on standard error, written unbuffered.
  const char *c = caption != nullptr ? caption : "Error";
  const char *t = text != nullptr ? text : "";
  size_t lc = strlen(c);
  size_t lt = strlen(t);
  char *line = static_cast<char *>(malloc(lc + lt + 3));
  if (line == nullptr) {
    writeAll(2, c, lc);
    writeAll(2, ": ", 2);
    writeAll(2, t, lt);
    writeAll(2, "\n", 1);
    return 1;
  }
  memcpy(line, c, lc);
  memcpy(line + lc, ": ", 2);
  memcpy(line + lc + 2, t, lt);
  line[lc + lt + 2] = '\n';
  writeAll(2, line, lc + lt + 3);
  free(line);
  return 1;  // IDOK
}

void outputDebugString(const char *text) {
  // Without an attached debugger the text goes nowhere, as on Windows; with
  // one, standard error is where a debugger session shows it.
  if (text != nullptr && debuggerPresent()) {
    writeAll(2, text, strlen(text));
  }
}

bool debuggerPresent() {
  int fd = ::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return false;
  }
  char status[4096];
  ssize_t n = ::read(fd, status, sizeof status - 1);
  ::close(fd);
  if (n <= 0) {
    return false;
  }
  status[n] = '\0';
  const char *tracer = strstr(status, "TracerPid:");
  if (tracer == nullptr) {
    return false;
  }
  return strtol(tracer + 10, nullptr, 10) != 0;
}

void debugBreak() {
  if (debuggerPresent()) {
    ::raise(SIGTRAP);
  }
}

void fatalExit(int /*code*/) { ::abort(); }

void sleepMs(uint32_t milliseconds) {
  if (milliseconds == 0) {
    sched_yield();
    return;
  }
  struct timespec ts;
  ts.tv_sec = static_cast<time_t>(milliseconds / 1000u);
  ts.tv_nsec = static_cast<long>(milliseconds % 1000u) * 1000000L;
  while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
  }
}

}  // namespace pal

// The library's load hook: it only keeps the module handle, which is the
// base address that the dynamic loader reports for this library.
namespace {
__attribute__((constructor)) void orvaneLoadHook() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void *>(&pal::setSelfModule), &info) != 0) {
    pal::setSelfModule(reinterpret_cast<pal::Handle>(info.dli_fbase));
  }
}
}  // namespace
