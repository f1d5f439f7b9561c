// orv nls format KIND ...: tries the library's formatters from the command
// line, in the locale of the table that ORVNLSTAB names.
//
//   orv nls format number [options] PICTURE DIGITS   a digit string through a picture
//   orv nls format picture [options] RECORD DIGITS   the same with a whole picture record
//   orv nls format float VALUE [--width N]           a double as portable float text
//   orv nls format float --read TEXT                 portable float text back to a double
//
// The field is printed between brackets, so that its spaces show.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <charconv>
#include <string>
#include <vector>

#include "nls_commands.h"
#include "orvane/nls.h"

namespace orv {

namespace {

const char kHelp[] =
    "usage: orv nls format number [options] PICTURE DIGITS\n"
    "       orv nls format picture [--min N] [--blank-zero] [--placeholder C] RECORD DIGITS\n"
    "       orv nls format float VALUE [--width N]\n"
    "       orv nls format float --read TEXT [--width N]\n"
    "       orv nls format date [options] FORMAT   (orv nls format date --help)\n"
    "\n"
    "  number   formats DIGITS (an optional \"-\" and decimal digits: the number 1234.56\n"
    "           for a picture with two decimals is 123456) through PICTURE, in which\n"
    "           the placeholder (9 unless --placeholder says otherwise) is a digit\n"
    "           position and every other character is copied to its place.\n"
    "           options: --fill C       fill character left of the number (space)\n"
    "                    --symbol C     floating symbol just left of the number (none)\n"
    "                    --sign C       leading sign of a negative number (none)\n"
    "                    --trailer XY   marker over the last two positions of a negative\n"
    "                                   number, one character when Y is a space (none)\n"
    "                    --min N        positions from the right always shown (0)\n"
    "                    --blank-zero   a field of spaces for the number 0\n"
    "                    --placeholder C  the digit placeholder (9)\n"
    "  picture  the same with the whole picture record as a program passes it:\n"
    "           byte 0 fill, byte 1 floating symbol, byte 2 leading sign, bytes 3-4\n"
    "           trailing marker (a space means none), then the picture text;\n"
    "           for example \"*$-  999,999.99\"\n"
    "  float    writes VALUE as portable float text of width N (26 by default):\n"
    "           sign, \".\", N - 6 mantissa digits (19 from width 25), \"E\", the\n"
    "           exponent's sign and two digits; --read converts such text back\n"
    "  date     formats a date and a time through a format of tokens (YYYY, MM, DD,\n"
    "           HH, MN, SS, MS, ...); its own --help lists the options and tokens\n"
    "\n"
    "The result is printed between brackets. The exit status is 0 when the value\n"
    "fits, 1 when the field overflows (a field of \"#\") or the value has no\n"
    "portable form, 2 for a usage error.\n";

int usage() {
  fputs(kHelp, stderr);
  return 2;
}

bool parseInt(const char *text, int &out) {
  const char *end = text + strlen(text);
  const std::from_chars_result r = std::from_chars(text, end, out);
  return r.ec == std::errc() && r.ptr == end;
}

bool parseDouble(const char *text, double &out) {
  const char *end = text + strlen(text);
  const std::from_chars_result r = std::from_chars(text, end, out);
  return r.ec == std::errc() && r.ptr == end;
}

// The language support of the table that ORVNLSTAB names; without it the
// formatters work on single-byte text.
void startLanguageSupport() {
  const int status = nlsInit();
  if (status != NLS_OK && status != NLS_ERR_CHARSET_OBJECT && status != NLS_ERR_MESSAGE_SET) {
    fprintf(stderr, "orv nls format: the NLS table did not load (error %d: %s); single-byte text only\n",
            status, nlsStatusText(status));
  }
}

struct PictureOptions {
  int minPositions = 0;
  int blankWhenZero = 0;
  char placeholder = '9';
  char fill = ' ';
  char symbol = ' ';
  char sign = ' ';
  char trailer[2] = {' ', ' '};
  std::vector<const char *> operands;
};

// Reads the options of number (withRecordFields) or picture; false on a
// usage error.
bool parsePictureOptions(int argc, char **argv, bool withRecordFields, PictureOptions &o) {
  for (int i = 0; i < argc; ++i) {
    const std::string a = argv[i];
    const bool hasValue = i + 1 < argc;
    auto oneChar = [&](char &out) {
      if (!hasValue || strlen(argv[i + 1]) != 1) {
        return false;
      }
      out = argv[++i][0];
      return true;
    };
    if (a == "--min") {
      if (!hasValue || !parseInt(argv[++i], o.minPositions)) {
        return false;
      }
    } else if (a == "--blank-zero") {
      o.blankWhenZero = 1;
    } else if (a == "--placeholder") {
      if (!oneChar(o.placeholder)) {
        return false;
      }
    } else if (withRecordFields && a == "--fill") {
      if (!oneChar(o.fill)) {
        return false;
      }
    } else if (withRecordFields && a == "--symbol") {
      if (!oneChar(o.symbol)) {
        return false;
      }
    } else if (withRecordFields && a == "--sign") {
      if (!oneChar(o.sign)) {
        return false;
      }
    } else if (withRecordFields && a == "--trailer") {
      if (!hasValue) {
        return false;
      }
      const char *t = argv[++i];
      const size_t n = strlen(t);
      if (n < 1 || n > 2) {
        return false;
      }
      o.trailer[0] = t[0];
      o.trailer[1] = n == 2 ? t[1] : ' ';
    } else if (a.size() > 2 && a[0] == '-' && a[1] == '-') {
      return false;
    } else {
      o.operands.push_back(argv[i]);
    }
  }
  return o.operands.size() == 2;
}

int formatThroughRecord(const std::string &record, const char *digits, const PictureOptions &o) {
  if (record.size() < 5) {
    fputs("orv nls format: a picture record has at least 5 bytes\n", stderr);
    return 2;
  }
  const size_t width = record.size() - 5;
  const size_t numberLength = strlen(digits);
  std::vector<char> text(width > numberLength ? width : numberLength);
  memcpy(text.data(), digits, numberLength);
  int length = static_cast<int>(numberLength);
  startLanguageSupport();
  const int result =
      nlsNumericFormat(text.data(), &length, o.blankWhenZero, o.minPositions, record.data(),
                       static_cast<int>(record.size()), static_cast<unsigned char>(o.placeholder));
  nlsTerminate();
  printf("[%.*s]\n", length, text.data());
  return result == 1 ? 0 : 1;
}

int runNumber(int argc, char **argv) {
  PictureOptions o;
  if (!parsePictureOptions(argc, argv, true, o)) {
    return usage();
  }
  std::string record;
  record += o.fill;
  record += o.symbol;
  record += o.sign;
  record += o.trailer[0];
  record += o.trailer[1];
  record += o.operands[0];
  return formatThroughRecord(record, o.operands[1], o);
}

int runPicture(int argc, char **argv) {
  PictureOptions o;
  if (!parsePictureOptions(argc, argv, false, o)) {
    return usage();
  }
  return formatThroughRecord(o.operands[0], o.operands[1], o);
}

int runFloat(int argc, char **argv) {
  int width = 26;
  bool widthGiven = false;
  const char *read = nullptr;
  const char *value = nullptr;
  for (int i = 0; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--width" && i + 1 < argc) {
      if (!parseInt(argv[++i], width) || width < 1 || width > 4096) {
        return usage();
      }
      widthGiven = true;
    } else if (a == "--read" && i + 1 < argc) {
      read = argv[++i];
    } else if (value == nullptr && read == nullptr && (a.size() < 2 || a.compare(0, 2, "--") != 0)) {
      value = argv[i];
    } else {
      return usage();
    }
  }
  int error = 0;
  if (read != nullptr) {
    if (value != nullptr) {
      return usage();
    }
    const int length = static_cast<int>(strlen(read));
    const int n = widthGiven ? width : length;  // the text's own width by default
    if (n > length) {
      fputs("orv nls format: the text is shorter than the width\n", stderr);
      return 1;
    }
    const double v = nlsPortFloatToR8(read, n, &error);
    if (error != 0) {
      fputs("orv nls format: not portable float text\n", stderr);
      return 1;
    }
    printf("%.17g\n", v);
    return 0;
  }
  double v = 0;
  if (value == nullptr || !parseDouble(value, v)) {
    return usage();
  }
  std::string out(static_cast<size_t>(width), ' ');
  nlsR8ToPortFloat(v, out.data(), width, &error);
  printf("[%s]\n", out.c_str());
  if (error != 0) {
    fputs("orv nls format: the value has no portable form at this width\n", stderr);
    return 1;
  }
  return 0;
}

}  // namespace

int runNlsFormat(int argc, char **argv) {
  if (argc < 1) {
    return usage();
  }
  const std::string kind = argv[0];
  if (kind == "--help" || kind == "-h" || kind == "help") {
    fputs(kHelp, stdout);
    return 0;
  }
  if (kind == "number") {
    return runNumber(argc - 1, argv + 1);
  }
  if (kind == "picture") {
    return runPicture(argc - 1, argv + 1);
  }
  if (kind == "float") {
    return runFloat(argc - 1, argv + 1);
  }
  if (kind == "date") {
    return runNlsFormatDate(argc - 1, argv + 1);
  }
  fprintf(stderr, "orv nls format: unknown kind '%s'\n", kind.c_str());
  return usage();
}

}  // namespace orv
