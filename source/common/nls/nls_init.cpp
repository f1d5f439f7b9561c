// Locale set-up: nlsInit and nlsTerminate, the choice of the locale by the
// Windows setting, the character set, and the look-ups of the locale
// records.
#include <locale.h>
#include <stdlib.h>
#include <string.h>

#include "common/nls/nls_alloc.h"
#include "common/nls/nls_state.h"
#include "common/nls/nls_table.h"
#include "common/nls/nls_util.h"
#include "orvane/charsets.h"
#include "orvane/msgset.h"
#include "orvane/nls.h"
#include "platform/pal.h"
#include "platform/pal_locale.h"

namespace nls {

namespace {

constexpr uint32_t kLanguageSettingSize = 31;  // "sLanguage": at most 30 characters
const char kDefaultLocale[] = "enu";

// The first "winnt" record whose name is name, ignoring case.
NlsLocale *findWindowsRecord(const char *name) {
  for (NlsLocale *r = state().locales; r != nullptr; r = r->next) {
    if (!r->isDatabaseRow && equalsNoCase(r->name, name)) {
      return r;
    }
  }
  return nullptr;
}

void copyLocaleName(const char *name) {
  State &s = state();
  size_t n = strlen(name);
  if (n > kLocaleNameSize - 1) {
    n = kLocaleNameSize - 1;
  }
  memcpy(s.localeName, name, n);
  s.localeName[n] = '\0';
}

// Chooses the locale by "sLanguage" of section "intl" of "win.ini", with
// "enu" when the table has no record of that name. Returns 0, 4 when the
// runtime has no collate or ctype locale, or 8 when the table lacks the
// "enu" record too.
int chooseLocale() {
  if (setlocale(LC_COLLATE, nullptr) == nullptr || setlocale(LC_CTYPE, nullptr) == nullptr) {
    return NLS_ERR_NO_RUNTIME_LOCALE;
  }
  setlocale(LC_ALL, "");
  char language[kLanguageSettingSize];
  pal::getPrivateProfileString("intl", "sLanguage", "", language, sizeof language, "win.ini");
  copyLocaleName(language);
  NlsLocale *record = findWindowsRecord(state().localeName);
  if (record == nullptr) {
    copyLocaleName(kDefaultLocale);
    record = findWindowsRecord(kDefaultLocale);
  }
  if (record == nullptr) {
    return NLS_ERR_SYNTAX;  // a table without the "enu" row cannot be used
  }
  State &s = state();
  s.current = record;
  s.langId = record->langId;
  s.charSet = record->charSet;
  rebuildCharLengths();
  return 0;
}

// The name of the character-set object of a set id.
const char *objectName(int id) {
  switch (id) {
    case 2:
      return "binary8";
    case 5:
      return "roman8";
    case 6:
      return "decMCS";
    case 7:
      return "dg";
    case 8:
      return "pc850";
    case 9:
      return "sco8859-1";
    case 10:
      return "sbSpare1";
    case 11:
      return "sbSpare2";
    case 12:
      return "sbSpare3";
    case 13:
      return "s-jis";
    case 14:
      return "euc-j";
    case 15:
      return "korean";
    case 16:
      return "big5";
    case 17:
      return "dec-kanji";
    case 18:
      return "s-chinese";
    case 19:
      return "mbSpare1";
    case 20:
      return "mbSpare2";
    case 21:
      return "mbSpare3";
    default:
      return "ASCII";
  }
}

// Makes the character-set object of the current set: 0, 3 (out of memory)
// or 12 (the object stands in as ASCII).
int makeCharSetObject() {
  State &s = state();
  int reason = 0;
  orvCharSet object = orvCharacterSetCreate(objectName(s.charSet), &reason);
  if (object != 0) {
    setCharSetObject(object);
    return 0;
  }
  if (reason == ORV_CHARSET_ERR_NO_MEMORY) {
    return NLS_ERR_NO_MEMORY;
  }
  setCharSetObject(ORV_CHARSET_ASCII);
  return NLS_ERR_CHARSET_OBJECT;
}

void releaseCharSetObject() {
  State &s = state();
  orvCharacterSetDestroy(s.charSetObject);
  setCharSetObject(0);
}

// The services message set "SRVCMSGS": its catalog is the file that the
// setting SRVCMSGS names (the library's own catalog, orvane.cat). A catalog
// that cannot be opened still gives a usable set (its texts fall back to
// the ids); only a set that cannot be allocated fails, with 13.
int makeServicesMessageSet() {
  orvMessageSet *set = orvMessageSetCreateNLS("SRVCMSGS");
  state().servicesMessageSet = set;
  return set != nullptr ? 0 : NLS_ERR_MESSAGE_SET;
}

void releaseServicesMessageSet() {
  orvMessageSetDestroy(static_cast<orvMessageSet *>(state().servicesMessageSet));
  state().servicesMessageSet = nullptr;
}

// Everything the first nlsInit made, for a failed first call or
// nlsTerminate.
void releaseAll() {
  releaseServicesMessageSet();
  releaseCharSetObject();
  releaseTableState();
  State &s = state();
  s.current = nullptr;
  s.langId = 0;
  s.charSet = 0;
  s.localeName[0] = '\0';
  rebuildCharLengths();
}

// The first call's loading: names, table search and load.
int loadEverything() {
  releaseAll();  // whatever an earlier failed call left
  if (!copyCharSetNames()) {
    return NLS_ERR_NO_MEMORY;
  }
  FILE *file = nullptr;
  int rc = openTable(&file);
  if (rc != 0) {
    return rc;
  }
  rc = loadTable(file, state().tablePath);
  fclose(file);
  return rc;
}

}  // namespace

}  // namespace nls

using nls::NlsLocale;
using nls::state;

extern "C" {

ORV_API int32_t nlsInit(void) {
  nls::State &s = state();
  const bool first = !s.initialised;
  if (first) {
    if (int rc = nls::loadEverything(); rc != 0) {
      nls::releaseAll();
      return rc;
    }
  }
  if (int rc = nls::chooseLocale(); rc != 0) {
    if (first) {
      nls::releaseAll();
    }
    return rc;
  }
  if (!first) {
    return 0;
  }
  int status = nls::makeCharSetObject();
  if (status == NLS_ERR_NO_MEMORY) {
    nls::releaseAll();
    return status;
  }
  if (nls::makeServicesMessageSet() != 0 && status == 0) {
    status = NLS_ERR_MESSAGE_SET;
  }
  s.initialised = true;
  return status;
}

ORV_API int32_t nlsTerminate(void) {
  nls::State &s = state();
  if (!s.initialised) {
    return 0;
  }
  nls::releaseAll();
  s.initialised = false;
  return 1;
}

ORV_API int nlsSetCharSet(int32_t charSet) {
  if (charSet != nls::kCharSetBinary8) {
    return 0;
  }
  nls::State &s = state();
  s.charSet = charSet;
  nls::rebuildCharLengths();
  NlsLocale *last = nullptr;
  for (NlsLocale *r = s.locales; r != nullptr; r = r->next) {
    if (!r->isDatabaseRow && r->charSet == charSet && r->langId == s.langId) {
      return 1;
    }
    last = r;
  }
  // The record appended here holds the two values swapped (langId 2, the
  // character set the language id), exactly as the library always did: the
  // look-up above never finds it, so every call appends another.
  auto *record = static_cast<NlsLocale *>(nls::allocate(sizeof(NlsLocale)));
  char *name = nls::duplicate(s.localeName);
  if (record == nullptr || name == nullptr) {
    free(record);
    free(name);
    return 0;
  }
  memset(record, 0, sizeof *record);
  record->langId = static_cast<uint32_t>(charSet);
  record->charSet = static_cast<int32_t>(s.langId);
  record->name = name;
  (last != nullptr ? last->next : s.locales) = record;
  return 1;
}

ORV_API uint32_t nlsLocaleToId(const char *localeName) {
  if (localeName == nullptr) {
    return NLS_LANGID_UNKNOWN;
  }
  for (const NlsLocale *r = state().locales; r != nullptr; r = r->next) {
    if (!r->isDatabaseRow && nls::equalsNoCase(r->name, localeName)) {
      return r->langId;
    }
  }
  return NLS_LANGID_UNKNOWN;
}

ORV_API char *nlsIdToLocale(char *dst, int len, uint32_t langId) {
  if (langId == NLS_LANGID_UNKNOWN || dst == nullptr) {
    return nullptr;
  }
  const nls::State &s = state();
  if (langId == 0) {
    langId = s.langId;
  }
  for (const NlsLocale *r = s.locales; r != nullptr; r = r->next) {
    if (!r->isDatabaseRow && r->langId == langId && r->charSet == s.charSet) {
      if (len > 0) {
        strncpy(dst, r->name, static_cast<size_t>(len));
      }
      return dst;
    }
  }
  return nullptr;
}

ORV_API int nlsMapDBId(const char *dbName, uint32_t *langId, int32_t *charSet) {
  if (dbName == nullptr) {
    return 0;
  }
  for (const NlsLocale *r = state().locales; r != nullptr; r = r->next) {
    if (r->isDatabaseRow && nls::equalsNoCase(r->name, dbName)) {
      if (langId != nullptr) {
        *langId = r->langId;
      }
      if (charSet != nullptr) {
        *charSet = r->charSet;
      }
      return 1;
    }
  }
  return 0;
}

ORV_API const char *nlsGetDBId(uint32_t langId, int32_t charSet, const char *prefix) {
  const size_t n = prefix != nullptr ? strlen(prefix) : 0;
  for (const NlsLocale *r = state().locales; r != nullptr; r = r->next) {
    if (r->isDatabaseRow && r->langId == langId && r->charSet == charSet &&
        (n == 0 || strncmp(r->name, prefix, n) == 0)) {
      return r->name;
    }
  }
  return nullptr;
}

ORV_API int nlsGetLocaleInfo(int item, char *dst, int len) {
  const nls::State &s = state();
  if (s.current != nullptr) {
    pal::setNumericLocale(s.current->name, s.charSet);
  }
  const struct lconv *conv = localeconv();
  if (conv == nullptr) {
    return 0;
  }
  const char *value;
  switch (item) {
    case NLS_INFO_DECIMAL_POINT:
      value = conv->decimal_point;
      break;
    case NLS_INFO_THOUSANDS_SEP:
      value = conv->thousands_sep;
      break;
    case NLS_INFO_MON_THOUSANDS_SEP:
      value = conv->mon_thousands_sep;
      break;
    default:
      return 0;
  }
  if (dst != nullptr && len > 0) {
    strncpy(dst, value != nullptr ? value : "", static_cast<size_t>(len));
  }
  return 1;
}

}  // extern "C"
