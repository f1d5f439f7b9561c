// The locale services that both platforms share: setting the numeric
// locale from the list of names each platform tries.
#include "platform/pal_locale.h"

#include <clocale>

namespace pal {

std::string setNumericLocale(const char *name, int charSet) {
  for (const std::string &candidate : numericLocaleCandidates(name, charSet)) {
    if (const char *set = setlocale(LC_NUMERIC, candidate.c_str())) {
      return set;
    }
  }
  return std::string();
}

}  // namespace pal
