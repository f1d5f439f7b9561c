// The catalog compiler's source format at its edges: every problem it
// reports with its line, the UTF-8 forms it accepts and refuses, the
// escapes, a byte-order mark, quoting and reading back, and catalog bytes
// too short for their size field.
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/catalog/cm_compile.h"
#include "orvane/catalog.h"

namespace {

std::string compileError(const std::string &text) {
  std::string bytes;
  std::string error;
  if (catalog::compileSource(text, "s.txt", &bytes, &error)) {
    return "<compiled>";
  }
  return error;
}

// The text of message 5 in a compiled one-line source.
std::u16string messageText(const std::string &literal) {
  catalog::Source source;
  std::string error;
  if (!catalog::parseSource("5 " + literal + "\n", "s.txt", &source, &error) || source.messages.size() != 1) {
    return u"<" + std::u16string(error.begin(), error.end()) + u">";
  }
  return source.messages[0].text;
}

}  // namespace

TEST(CatalogCompilerMore, EachProblemWithItsLine) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"title\n", "s.txt:1: expected a text in double quotes"},
      {"version1 1 2\n", "s.txt:1: expected version number"},
      {"version1 1 2 x \"t\"\n", "s.txt:1: bad version number 'x'"},
      {"0x1G \"a\"\n", "s.txt:1: bad message id '0x1G'"},
      {"0x100000000 \"a\"\n", "s.txt:1: message id '0x100000000' out of range (0 to 0xFFFFFFFF)"},
      {"5 \"\\q\"\n", "s.txt:1: bad escape '\\q'"},
      {"5 \"\\u12\"\n", "s.txt:1: bad escape '\\u': write \\u{hex digits}"},
      {"5 \"\\u{}\"\n", "s.txt:1: bad escape '\\u{...}': 1 to 6 hex digits up to 10FFFF"},
      {"5 \"a\x01"
       "b\"\n",
       "s.txt:1: control character in a text (write it as an escape)"},
      {"5 \"\\", "s.txt:1: text not closed by a double quote"},
      {"version1 1 2 3 \"a\"\n\nversion1 1 2 3 \"b\"\n", "s.txt:3: a second version1"},
      {"$\n", "s.txt:1: unexpected character"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.first);
    EXPECT_EQ(c.second, compileError(c.first));
  }
}

TEST(CatalogCompilerMore, Utf8FormsAcceptedAndRefused) {
  EXPECT_EQ(u"\u00e9\u20ac\U0001F600", messageText("\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\""));
  for (const char *bad : {"\"\xE0\x80\x80\"", "\"\xF0\x80\x80\x80\"", "\"\xF4\x90\x80\x80\"",
                          "\"\xED\xA0\x80\"", "\"\xF8\x88\x80\x80\x80\"", "\"\xC3(\"", "\"\xE2\x82\""}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(u"<s.txt:1: invalid UTF-8 in a text>", messageText(bad));
  }
}

TEST(CatalogCompilerMore, Escapes) {
  EXPECT_EQ(
      u"\"\\\n\r\t\x01"
      u"A\U0001F600",
      messageText("\"\\\"\\\\\\n\\r\\t\\1\\u{41}\\u{1F600}\""));
}

TEST(CatalogCompilerMore, AByteOrderMarkIsSkipped) {
  catalog::Source source;
  std::string error;
  ASSERT_TRUE(catalog::parseSource("\xEF\xBB\xBFtitle \"t\"\n", "s.txt", &source, &error)) << error;
  EXPECT_EQ(u"t", source.title);
}

TEST(CatalogCompilerMore, QuotedTextsReadBackTheSame) {
  const std::u16string text = u"q\"b\\n\nr\rt\tone\x01 e\u00e9 \u20ac \U0001F600";
  EXPECT_EQ(text, messageText(catalog::quote(text)));
  EXPECT_EQ("\xED\xA0\x80", catalog::toUtf8(u"\xD800")) << "a lone surrogate in its three-byte form";
  EXPECT_EQ("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", catalog::toUtf8(u"a\u00e9\u20ac\U0001F600"));
}

TEST(CatalogCompilerMore, BytesTooShortForTheSizeField) {
  catalog::Source source;
  std::string problem;
  EXPECT_EQ(CM_ERR_DAMAGED, catalog::readCatalog("abc", &source, &problem));
  EXPECT_EQ("the file is shorter than its size field", problem);
  EXPECT_EQ(CM_ERR_DAMAGED, catalog::readCatalog(std::string("\x00\x00\x00\x09xyz", 7), &source, &problem));
  EXPECT_EQ("the size field does not match the file's size", problem);
}
