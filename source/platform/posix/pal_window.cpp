// POSIX half of the windows: an emulation of the few user32 calls that the
// library makes, with no window system behind it.
//
// - A window is an object of the handle table: a made-up or destroyed
//   window handle fails with error 1400 (invalid window handle), as on
//   Windows.
// - A window has a class, a text, a parent, a control id, a position and
//   size, and a procedure (from its class). Messages sent to it go to that
//   procedure; the "edit" class has a built-in procedure that emulates a
//   multi-line edit control: its text, its selection, its text limit
//   (32767 characters until EM_LIMITTEXT), replace-selection, clear,
//   set-selection and the out-of-space notification to its parent.
// - No lock is held while a window procedure runs, so a procedure may send
//   messages to any window, its own edit control included.
// - Each text that replace-selection puts into an edit control is also
//   copied to the sink that setEditControlSink chose (a file, appended to
//   and flushed per text, or standard error), so that a developer can
//   follow a debug window with tail -f.
#include "platform/pal_window.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/posix/handle_table.h"
#include "platform/posix/never_destroyed.h"

namespace pal {
namespace posix {
namespace {

constexpr uint32_t kErrorInvalidWindowHandle = 1400;
constexpr uint32_t kErrorClassDoesNotExist = 1411;

class WindowObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::Window;
  WindowObject() : KernelObject(kKind) {}
  bool release() override {
    text.clear();
    text.shrink_to_fit();
    return true;
  }

  // Guarded by the windows' lock.
  std::string className;
  std::string text;
  WindowProc procedure = nullptr;  // null: the edit control
  Handle parent = kNullHandle;
  uintptr_t id = 0;
  uint32_t style = 0;
  int x = 0, y = 0, width = 0, height = 0;
  // Edit control state: selection [selStart, selEnd) and the text limit.
  size_t selStart = 0;
  size_t selEnd = 0;
  size_t limit = kEditDefaultLimit;
};

struct Windows {
  std::mutex lock;
  std::unordered_map<std::string, WindowProc> classes;
  Handle focus = kNullHandle;
  bool quitPosted = false;
  int quitCode = 0;
  std::string sink;
  // The child windows of each window that has any, in creation order.
  std::unordered_map<Handle, std::vector<Handle>> children;
};

Windows &windows() { return neverDestroyed<Windows>(); }

// The window behind handle, or null with error 1400. Called with the lock
// held.
WindowObject *windowOf(Handle handle) {
  auto *w = lookup<WindowObject>(handle);
  if (w == nullptr) {
    setLastError(kErrorInvalidWindowHandle);
  }
  return w;
}

std::string lowered(const char *name) {
  std::string s = name != nullptr ? name : "";
  std::transform(s.begin(), s.end(), s.begin(),
                 [](unsigned char c) { return static_cast<char>(tolower(c)); });
  return s;
}

void writeToSink(const std::string &sink, const char *text, size_t length) {
  if (sink.empty() || length == 0) {
    return;
  }
  int fd = 2;
  if (sink != "stderr") {
    fd = ::open(sink.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) {
      return;
    }
  }
  size_t done = 0;
  while (done < length) {
    ssize_t n = ::write(fd, text + done, length - done);
    if (n <= 0) {
      break;
    }
    done += static_cast<size_t>(n);
  }
  if (fd != 2) {
    ::close(fd);
  }
}

// --- The edit control -----------------------------------------------------------

void clampSelection(WindowObject *w) {
  w->selStart = std::min(w->selStart, w->text.size());
  w->selEnd = std::min(w->selEnd, w->text.size());
  if (w->selStart > w->selEnd) {
    std::swap(w->selStart, w->selEnd);
  }
}

// Replaces the selection by text when the result stays within the limit.
// False when it would not.
bool replaceSelection(WindowObject *w, const char *text, size_t length) {
  clampSelection(w);
  size_t after = w->text.size() - (w->selEnd - w->selStart) + length;
  if (after > w->limit) {
    return false;
  }
  w->text.replace(w->selStart, w->selEnd - w->selStart, text, length);
  w->selStart += length;
  w->selEnd = w->selStart;
  return true;
}

// EM_REPLACESEL. A text that does not fit sends the out-of-space
// notification to the parent's procedure (without the lock held) and is put
// in once more if the parent made room; otherwise it is dropped, as the
// control drops it on Windows.
intptr_t editReplaceSelection(Handle edit, const char *text) {
  Windows &ws = windows();
  size_t length = text != nullptr ? strlen(text) : 0;
  Handle parent = kNullHandle;
  WindowProc parentProcedure = nullptr;
  uintptr_t id = 0;
  std::string sink;
  {
    std::lock_guard<std::mutex> guard(ws.lock);
    WindowObject *w = windowOf(edit);
    if (w == nullptr) {
      return 0;
    }
    sink = ws.sink;
    if (replaceSelection(w, text, length)) {
      writeToSink(sink, text, length);
      return 0;
    }
    parent = w->parent;
    id = w->id;
    if (WindowObject *p = parent != kNullHandle ? lookup<WindowObject>(parent) : nullptr) {
      parentProcedure = p->procedure;
    }
  }
  if (parentProcedure != nullptr) {
    parentProcedure(parent, kWmCommand, (static_cast<uintptr_t>(kEnErrSpace) << 16) | (id & 0xFFFF),
                    static_cast<intptr_t>(edit));
  }
  std::lock_guard<std::mutex> guard(ws.lock);
  WindowObject *w = windowOf(edit);
  if (w != nullptr && replaceSelection(w, text, length)) {
    writeToSink(sink, text, length);
  }
  return 0;
}

// The edit control's procedure for every other message. Called with the
// lock held.
intptr_t editMessage(WindowObject *w, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  switch (message) {
    case kEmSetSel: {
      auto start = static_cast<intptr_t>(wParam);
      if (start == -1) {
        w->selStart = w->selEnd = w->text.size();  // no selection: the caret at the end
        return 1;
      }
      w->selStart = static_cast<size_t>(start < 0 ? 0 : start);
      w->selEnd = lParam < 0 ? w->text.size() : static_cast<size_t>(lParam);
      clampSelection(w);
      return 1;
    }
    case kEmGetSel:
      clampSelection(w);
      if (wParam != 0) {
        *reinterpret_cast<uint32_t *>(wParam) = static_cast<uint32_t>(w->selStart);
      }
      if (lParam != 0) {
        *reinterpret_cast<uint32_t *>(lParam) = static_cast<uint32_t>(w->selEnd);
      }
      return static_cast<intptr_t>((w->selEnd << 16) | (w->selStart & 0xFFFF));
    case kWmClear:
      clampSelection(w);
      w->text.erase(w->selStart, w->selEnd - w->selStart);
      w->selEnd = w->selStart;
      return 1;
    case kEmLimitText:
      w->limit = wParam == 0 ? 0x7FFFFFFE : static_cast<size_t>(wParam);
      return 0;
    case kEmGetLimitText:
      return static_cast<intptr_t>(w->limit);
    default:
      return 0;
  }
}

// The messages every window answers the same way. Called with the lock
// held; false when message is not one of them.
bool commonMessage(WindowObject *w, uint32_t message, uintptr_t wParam, intptr_t lParam, intptr_t &result) {
  switch (message) {
    case kWmSetText:
      w->text = lParam != 0 ? reinterpret_cast<const char *>(lParam) : "";
      w->selStart = w->selEnd = 0;
      result = 1;
      return true;
    case kWmGetText: {
      char *out = reinterpret_cast<char *>(lParam);
      size_t size = static_cast<size_t>(wParam);
      if (out == nullptr || size == 0) {
        result = 0;
        return true;
      }
      size_t n = std::min(size - 1, w->text.size());
      memcpy(out, w->text.data(), n);
      out[n] = '\0';
      result = static_cast<intptr_t>(n);
      return true;
    }
    case kWmGetTextLength:
      result = static_cast<intptr_t>(w->text.size());
      return true;
    default:
      return false;
  }
}

}  // namespace
}  // namespace posix

Handle createWindow(const char *className, const char *windowName, uint32_t style, int x, int y, int width,
                    int height, Handle parent, uintptr_t id, Handle instance, void *param) {
  posix::Windows &ws = posix::windows();
  std::string name = posix::lowered(className);
  WindowProc procedure = nullptr;
  Handle handle = kNullHandle;
  {
    std::lock_guard<std::mutex> guard(ws.lock);
    if (name != "edit") {
      auto found = ws.classes.find(name);
      if (found == ws.classes.end()) {
        setLastError(posix::kErrorClassDoesNotExist);
        return kNullHandle;
      }
      procedure = found->second;
    }
    if (parent != kNullHandle && posix::windowOf(parent) == nullptr) {
      return kNullHandle;
    }
    auto *w = posix::newObject<posix::WindowObject>();
    if (w == nullptr) {
      setLastError(kErrorNotEnoughMemory);
      return kNullHandle;
    }
    try {
      w->className = name;
      w->text = windowName != nullptr ? windowName : "";
    } catch (const std::bad_alloc &) {
      posix::discardObject(w);
      setLastError(kErrorNotEnoughMemory);
      return kNullHandle;
    }
    w->procedure = procedure;
    w->parent = parent;
    w->id = id;
    w->style = style;
    w->x = x;
    w->y = y;
    w->width = width;
    w->height = height;
    handle = posix::insertOrRelease(w);
    if (handle == kNullHandle) {
      return kNullHandle;
    }
    if (parent != kNullHandle) {
      try {
        ws.children[parent].push_back(handle);
      } catch (const std::bad_alloc &) {
        posix::closeObject(handle);
        setLastError(kErrorNotEnoughMemory);
        return kNullHandle;
      }
    }
  }
  if (procedure != nullptr) {
    CreateRecord record{param,      instance,  id, parent, height, width, y, x, static_cast<int32_t>(style),
                        windowName, className, 0};
    if (procedure(handle, kWmCreate, 0, reinterpret_cast<intptr_t>(&record)) == -1) {
      destroyWindow(handle);
      return kNullHandle;
    }
  }
  return handle;
}

bool registerWindowClass(const char *className, WindowProc procedure, Handle /*instance*/) {
  if (className == nullptr || procedure == nullptr) {
    setLastError(kErrorInvalidParameter);
    return false;
  }
  posix::Windows &ws = posix::windows();
  std::lock_guard<std::mutex> guard(ws.lock);
  std::string name = posix::lowered(className);
  if (name == "edit" || ws.classes.count(name) != 0) {
    setLastError(1410);  // ERROR_CLASS_ALREADY_EXISTS
    return false;
  }
  ws.classes.emplace(name, procedure);
  return true;
}

namespace posix {
namespace {

// Destroys the children of parent (each gets its destroy message first).
void destroyChildren(Handle parent) {
  std::vector<Handle> children;
  {
    Windows &ws = windows();
    std::lock_guard<std::mutex> guard(ws.lock);
    auto found = ws.children.find(parent);
    if (found != ws.children.end()) {
      children.swap(found->second);
      ws.children.erase(found);
    }
  }
  for (Handle child : children) {
    destroyWindow(child);
  }
}

// Takes window out of its parent's list of children. Called with the lock
// held.
void unlinkFromParent(Windows &ws, Handle window, Handle parent) {
  auto found = ws.children.find(parent);
  if (found == ws.children.end()) {
    return;
  }
  std::vector<Handle> &list = found->second;
  list.erase(std::remove(list.begin(), list.end(), window), list.end());
  if (list.empty()) {
    ws.children.erase(found);
  }
}

}  // namespace
}  // namespace posix

bool destroyWindow(Handle window) {
  posix::Windows &ws = posix::windows();
  WindowProc procedure = nullptr;
  {
    std::lock_guard<std::mutex> guard(ws.lock);
    posix::WindowObject *w = posix::windowOf(window);
    if (w == nullptr) {
      return false;
    }
    procedure = w->procedure;
  }
  if (procedure != nullptr) {
    procedure(window, kWmDestroy, 0, 0);
  }
  posix::destroyChildren(window);
  std::lock_guard<std::mutex> guard(ws.lock);
  posix::WindowObject *w = posix::windowOf(window);
  if (w == nullptr) {
    return false;  // destroyed meanwhile, by its destroy message
  }
  posix::unlinkFromParent(ws, window, w->parent);
  if (ws.focus == window) {
    ws.focus = kNullHandle;
  }
  if (!posix::closeObject(window)) {
    setLastError(posix::kErrorInvalidWindowHandle);
    return false;
  }
  return true;
}

intptr_t sendMessage(Handle window, uint32_t message, uintptr_t wParam, intptr_t lParam) {
  posix::Windows &ws = posix::windows();
  WindowProc procedure = nullptr;
  {
    std::lock_guard<std::mutex> guard(ws.lock);
    posix::WindowObject *w = posix::windowOf(window);
    if (w == nullptr) {
      return 0;
    }
    procedure = w->procedure;
    if (procedure == nullptr) {
      if (message != kEmReplaceSel) {
        intptr_t result = 0;
        if (posix::commonMessage(w, message, wParam, lParam, result)) {
          return result;
        }
        return posix::editMessage(w, message, wParam, lParam);
      }
    }
  }
  if (procedure == nullptr) {
    return posix::editReplaceSelection(window, reinterpret_cast<const char *>(lParam));
  }
  // A window of a registered class: its procedure first; the default
  // handling of the text messages when the procedure leaves them (0).
  intptr_t result = procedure(window, message, wParam, lParam);
  if (result == 0 && (message == kWmSetText || message == kWmGetText || message == kWmGetTextLength)) {
    std::lock_guard<std::mutex> guard(ws.lock);
    if (posix::WindowObject *w = posix::windowOf(window)) {
      posix::commonMessage(w, message, wParam, lParam, result);
    }
  }
  return result;
}

intptr_t defaultWindowProc(Handle /*window*/, uint32_t message, uintptr_t /*wParam*/, intptr_t /*lParam*/) {
  constexpr uint32_t kWmNcCreate = 0x0081;
  return message == kWmNcCreate ? 1 : 0;
}

bool moveWindow(Handle window, int x, int y, int width, int height, bool /*repaint*/) {
  posix::Windows &ws = posix::windows();
  WindowProc procedure = nullptr;
  {
    std::lock_guard<std::mutex> guard(ws.lock);
    posix::WindowObject *w = posix::windowOf(window);
    if (w == nullptr) {
      return false;
    }
    w->x = x;
    w->y = y;
    w->width = width;
    w->height = height;
    procedure = w->procedure;
  }
  if (procedure != nullptr) {
    uintptr_t size = (static_cast<uintptr_t>(height & 0xFFFF) << 16) | static_cast<uintptr_t>(width & 0xFFFF);
    procedure(window, kWmSize, 0, static_cast<intptr_t>(size));
  }
  return true;
}

Handle setFocus(Handle window) {
  posix::Windows &ws = posix::windows();
  std::lock_guard<std::mutex> guard(ws.lock);
  if (window != kNullHandle && posix::windowOf(window) == nullptr) {
    return kNullHandle;
  }
  Handle previous = ws.focus;
  ws.focus = window;
  return previous;
}

void postQuitMessage(int exitCode) {
  posix::Windows &ws = posix::windows();
  std::lock_guard<std::mutex> guard(ws.lock);
  ws.quitPosted = true;
  ws.quitCode = exitCode;
}

bool setWindowText(Handle window, const char *text) {
  return sendMessage(window, kWmSetText, 0, reinterpret_cast<intptr_t>(text)) != 0;
}

Handle dialogItem(Handle dialog, int id) {
  posix::Windows &ws = posix::windows();
  std::lock_guard<std::mutex> guard(ws.lock);
  if (posix::windowOf(dialog) == nullptr) {
    return kNullHandle;
  }
  auto found = ws.children.find(dialog);
  if (found != ws.children.end()) {
    for (Handle child : found->second) {
      posix::WindowObject *w = posix::lookup<posix::WindowObject>(child);
      if (w != nullptr && static_cast<int>(w->id) == id) {
        return child;
      }
    }
  }
  setLastError(1421);  // ERROR_CONTROL_ID_NOT_FOUND
  return kNullHandle;
}

bool setDlgItemText(Handle dialog, int id, const char *text) {
  Handle item = dialogItem(dialog, id);
  if (item == kNullHandle) {
    return false;
  }
  return setWindowText(item, text);
}

void setEditControlSink(const char *target) {
  posix::Windows &ws = posix::windows();
  std::lock_guard<std::mutex> guard(ws.lock);
  ws.sink = target != nullptr ? target : "";
}

bool quitPosted(int *exitCode) {
  posix::Windows &ws = posix::windows();
  std::lock_guard<std::mutex> guard(ws.lock);
  if (exitCode != nullptr) {
    *exitCode = ws.quitCode;
  }
  return ws.quitPosted;
}

}  // namespace pal
