// POSIX locale services: the numeric locale's candidate names for each
// language and character set, and the case-blind comparison of texts that
// are not valid in the runtime's character set.
#ifndef _WIN32

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/pal_locale.h"

using Names = std::vector<std::string>;

TEST(PalLocalePosix, CandidatesOfTheMultiByteSets) {
  EXPECT_EQ((Names{"jpn", "ja_JP.SJIS", "ja_JP.sjis", "ja_JP.UTF-8", "ja_JP.utf8", "ja_JP", "C"}),
            pal::numericLocaleCandidates("jpn", 13));
  EXPECT_EQ((Names{"jpn", "ja_JP.eucJP", "ja_JP.eucjp", "ja_JP.UTF-8", "ja_JP.utf8", "ja_JP", "C"}),
            pal::numericLocaleCandidates("jpn", 14));
  EXPECT_EQ((Names{"kor", "ko_KR.eucKR", "ko_KR.euckr", "ko_KR.UTF-8", "ko_KR.utf8", "ko_KR", "C"}),
            pal::numericLocaleCandidates("kor", 15));
  EXPECT_EQ((Names{"cht", "zh_TW.BIG5", "zh_TW.big5", "zh_TW.UTF-8", "zh_TW.utf8", "zh_TW", "C"}),
            pal::numericLocaleCandidates("cht", 16));
  EXPECT_EQ((Names{"CHS", "zh_CN.GBK", "zh_CN.gbk", "zh_CN.GB2312", "zh_CN.gb2312", "zh_CN.UTF-8",
                   "zh_CN.utf8", "zh_CN", "C"}),
            pal::numericLocaleCandidates("CHS", 18))
      << "the abbreviation in any case";
}

TEST(PalLocalePosix, CandidatesOfSingleByteAndUnknownNames) {
  EXPECT_EQ((Names{"de_DE", "de_DE.ISO-8859-1", "de_DE.iso88591", "de_DE.UTF-8", "de_DE.utf8", "C"}),
            pal::numericLocaleCandidates("de_DE", 9))
      << "a POSIX name without a codeset gets the codesets";
  EXPECT_EQ((Names{"fra", "fr_FR.UTF-8", "fr_FR.utf8", "fr_FR", "C"}), pal::numericLocaleCandidates("fra", 5))
      << "a set without a POSIX codeset";
  EXPECT_EQ((Names{"de_DE.UTF-8", "C"}), pal::numericLocaleCandidates("de_DE.UTF-8", 4))
      << "a name with a codeset is taken as it is";
  EXPECT_EQ((Names{"xyz", "C"}), pal::numericLocaleCandidates("xyz", 4));
  EXPECT_EQ((Names{"C"}), pal::numericLocaleCandidates(nullptr, 4));
  EXPECT_EQ((Names{"C"}), pal::numericLocaleCandidates("", 4));
}

TEST(PalLocalePosix, InvalidTextsAreComparedByteWiseWithoutCase) {
  // Bytes that no runtime character set of a test run (C, C.UTF-8) accepts
  // as a text: the comparison folds ASCII letters and compares bytes.
  EXPECT_EQ(0, pal::compareLocaleNoCase("ABC\xFF", "abc\xFF"));
  EXPECT_LT(pal::compareLocaleNoCase("a\xFF", "B\xFF"), 0);
  EXPECT_GT(pal::compareLocaleNoCase("\xFF", "\xFE"), 0);
  EXPECT_LT(pal::compareLocaleNoCase("ab", "ab\xFF"), 0) << "the shorter first";
  EXPECT_EQ(0, pal::compareLocaleNoCase("Same", "sAME"));
}

#endif  // !_WIN32
