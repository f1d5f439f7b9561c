// Locale set-up with the shipped table: the choice of the locale, language
// ids, character-set ids, the record look-ups, the multi-byte test,
// translation and collation.
#include <locale.h>
#include <string.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "orvane/frame.h"
#include "orvane/nls.h"
#include "support/test_support.h"
#include "test_nls_helpers.h"

using nlstest::LanguageSetting;

namespace {

class Nls : public ::testing::Test {
 protected:
  void SetUp() override { testsupport::useScratchProfileDir(); }
  void TearDown() override { nlsTerminate(); }

  void initIn(const std::string &language) {
    LanguageSetting setting(language);
    ASSERT_EQ(0, nlstest::initWith(nlstest::shippedTable()).status);
  }

  std::string currentLocale() {
    char name[32] = {};
    return nlsIdToLocale(name, sizeof name, 0) != nullptr ? name : "<null>";
  }
};

}  // namespace

// --- Language and character-set ids ------------------------------------------------

TEST(NlsIds, CAndPosixPackToTheSameId) {
  EXPECT_EQ(0x43000000u, nlsPackLangId("C"));
  EXPECT_EQ(0x43000000u, nlsPackLangId("posix"));
  EXPECT_EQ(0x43000000u, nlsPackLangId("POSIX"));
  EXPECT_EQ(0x43000000u, nlsPackLangId("c"));
}

TEST(NlsIds, NamesPackBigEndianUpperCase) {
  EXPECT_EQ(0x44450000u, nlsPackLangId("de"));
  EXPECT_EQ(0x454E5500u, nlsPackLangId("enu"));
  EXPECT_EQ(0x454E5F55u, nlsPackLangId("en_US"));
  EXPECT_EQ(0x454E5F55u, nlsPackLangId("en_us.UTF-8"));
  EXPECT_EQ(0x4A000000u, nlsPackLangId("j"));
  EXPECT_EQ(0u, nlsPackLangId(""));
  EXPECT_EQ(0u, nlsPackLangId(nullptr));
}

TEST(NlsIds, CharacterSetNamesIgnoreCase) {
  EXPECT_EQ(2, nlsCharSetIdFromName("binary8"));
  EXPECT_EQ(4, nlsCharSetIdFromName("8859-1"));
  EXPECT_EQ(6, nlsCharSetIdFromName("DECMCS"));
  EXPECT_EQ(13, nlsCharSetIdFromName("S-JIS"));
  EXPECT_EQ(22, nlsCharSetIdFromName("Unicode"));
  EXPECT_EQ(0, nlsCharSetIdFromName(""));  // slots 0 and 1 never match
  EXPECT_EQ(0, nlsCharSetIdFromName("latin9"));
  EXPECT_EQ(0, nlsCharSetIdFromName(nullptr));
}

TEST(NlsIds, TheWidestCharacterIsTwoBytes) { EXPECT_EQ(2, nlsCharmaxsiz()); }

TEST(NlsIds, TransformSizes) {
  EXPECT_EQ(1, nlsStrxfrmdSize(0));
  EXPECT_EQ(41, nlsStrxfrmdSize(10));
  char out[8];
  memset(out, 'x', sizeof out);
  EXPECT_EQ(5, nlsStrxfrm(out, "hello", 0, 3));
  EXPECT_EQ(0, memcmp(out, "helx", 4));
  EXPECT_EQ(5, nlsStrxfrm(nullptr, "hello", 0, 3));
}

TEST(NlsIds, GetenvIsTheRuntimes) {
  testsupport::setEnv("ORVNLSTESTVAR", "value");
  ASSERT_NE(nullptr, nlsGetenv("ORVNLSTESTVAR"));
  EXPECT_STREQ("value", nlsGetenv("ORVNLSTESTVAR"));
  testsupport::unsetEnv("ORVNLSTESTVAR");
  EXPECT_EQ(nullptr, nlsGetenv("ORVNLSTESTVAR"));
}

// --- Choice of the locale -----------------------------------------------------------

TEST_F(Nls, WithoutALanguageSettingTheEnuRowIsUsed) {
  initIn("");
  EXPECT_EQ(nlsPackLangId("en_US"), nlsGetLangId());
  EXPECT_EQ(4, nlsGetCharSet());
  EXPECT_EQ("enu", currentLocale());
}

TEST_F(Nls, TheLanguageSettingChoosesTheWindowsRow) {
  initIn("DEU");
  EXPECT_EQ(nlsPackLangId("de_DE"), nlsGetLangId());
  EXPECT_EQ("deu", currentLocale());
}

TEST_F(Nls, AnUnknownLanguageFallsBackToEnu) {
  initIn("xyz");
  EXPECT_EQ(nlsPackLangId("en_US"), nlsGetLangId());
}

TEST_F(Nls, DatabaseNamesAreNotWindowsLanguages) {
  initIn("german");  // only a database row has this name
  EXPECT_EQ(nlsPackLangId("en_US"), nlsGetLangId());
}

TEST_F(Nls, ALaterInitRedoesOnlyTheLocaleChoice) {
  initIn("");
  {
    LanguageSetting setting("fra");
    EXPECT_EQ(0, nlsInit());
    EXPECT_EQ(nlsPackLangId("fr_FR"), nlsGetLangId());
  }
  EXPECT_EQ(1, nlsTerminate());
  EXPECT_EQ(0, nlsTerminate());
}

TEST_F(Nls, AJapaneseLocaleMakesTheSetMultiByte) {
  initIn("jpn");
  EXPECT_EQ(13, nlsGetCharSet());
  EXPECT_EQ(2, nlsStrmblen(0x81));
  EXPECT_EQ(2, nlsStrmblen(0x9F));
  EXPECT_EQ(1, nlsStrmblen(0xA0));
  EXPECT_EQ(1, nlsStrmblen(0xDF));  // half-width katakana
  EXPECT_EQ(2, nlsStrmblen(0xE0));
  EXPECT_EQ(2, nlsStrmblen(0xFC));
  EXPECT_EQ(1, nlsStrmblen(0xFD));
  EXPECT_EQ(1, nlsStrmblen('A'));
  EXPECT_EQ(2, nlsStrmblen(0x181));  // only the low byte counts
}

TEST_F(Nls, ASingleByteLocaleHasOnlyOneByteCharacters) {
  initIn("deu");
  for (int c = 0; c < 256; ++c) {
    EXPECT_EQ(1, nlsStrmblen(c)) << c;
  }
}

TEST_F(Nls, BeforeInitEveryByteIsOneCharacter) { EXPECT_EQ(1, nlsStrmblen(0x81)); }

TEST_F(Nls, OtherDoubleByteLocales) {
  initIn("kor");
  EXPECT_EQ(15, nlsGetCharSet());
  EXPECT_EQ(2, nlsStrmblen(0xB0));
  EXPECT_EQ(1, nlsStrmblen(0x80));
  nlsTerminate();
  initIn("cht");
  EXPECT_EQ(16, nlsGetCharSet());
  nlsTerminate();
  initIn("chs");
  EXPECT_EQ(18, nlsGetCharSet());
}

// --- Record look-ups ----------------------------------------------------------------

TEST_F(Nls, LocaleNamesAndIds) {
  initIn("");
  EXPECT_EQ(nlsPackLangId("ja_JP"), nlsLocaleToId("JPN"));
  EXPECT_EQ(NLS_LANGID_UNKNOWN, nlsLocaleToId("japanese"));  // a database name
  EXPECT_EQ(NLS_LANGID_UNKNOWN, nlsLocaleToId("xyz"));
  char name[16];
  EXPECT_EQ(nullptr, nlsIdToLocale(name, sizeof name, NLS_LANGID_UNKNOWN));
  EXPECT_EQ(name, nlsIdToLocale(name, sizeof name, nlsPackLangId("de_DE")));
  EXPECT_STREQ("deu", name);
  // Only records of the current character set count.
  EXPECT_EQ(nullptr, nlsIdToLocale(name, sizeof name, nlsPackLangId("ja_JP")));
  // strncpy semantics: no terminator when the name fills the buffer.
  char two[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(two, nlsIdToLocale(two, 2, 0));
  EXPECT_EQ('e', two[0]);
  EXPECT_EQ('n', two[1]);
  EXPECT_EQ('x', two[2]);
}

TEST_F(Nls, DatabaseRows) {
  initIn("");
  uint32_t langId = 0;
  int32_t charSet = 0;
  EXPECT_EQ(1, nlsMapDBId("Japanese-EUC", &langId, &charSet));
  EXPECT_EQ(nlsPackLangId("ja_JP"), langId);
  EXPECT_EQ(14, charSet);
  EXPECT_EQ(0, nlsMapDBId("jpn", &langId, &charSet));  // a Windows name
  EXPECT_EQ(0, nlsMapDBId(nullptr, &langId, &charSet));
  EXPECT_STREQ("japanese", nlsGetDBId(nlsPackLangId("ja_JP"), 13, "jap"));
  EXPECT_STREQ("japanese-euc", nlsGetDBId(nlsPackLangId("ja_JP"), 14, ""));
  EXPECT_EQ(nullptr, nlsGetDBId(nlsPackLangId("ja_JP"), 13, "JAP"));  // prefixes are case-sensitive
  EXPECT_EQ(nullptr, nlsGetDBId(nlsPackLangId("ja_JP"), 15, "jap"));
}

TEST_F(Nls, SetCharSetAcceptsOnlyBinary8) {
  initIn("jpn");
  EXPECT_EQ(0, nlsSetCharSet(4));
  EXPECT_EQ(13, nlsGetCharSet());
  EXPECT_EQ(1, nlsSetCharSet(2));
  EXPECT_EQ(2, nlsGetCharSet());
  EXPECT_EQ(nlsPackLangId("ja_JP"), nlsGetLangId());  // the record stays current
  EXPECT_EQ(1, nlsStrmblen(0x81));                    // binary8 is single-byte
  // The appended record holds langId and character set swapped, so no
  // look-up by the current language finds it.
  char name[16];
  EXPECT_EQ(nullptr, nlsIdToLocale(name, sizeof name, 0));
  EXPECT_EQ(1, nlsSetCharSet(2));
}

TEST_F(Nls, LocaleInformation) {
  initIn("");
  char value[8] = {};
  ASSERT_EQ(1, nlsGetLocaleInfo(NLS_INFO_DECIMAL_POINT, value, sizeof value));
  EXPECT_STRNE("", value);
  EXPECT_EQ(1, nlsGetLocaleInfo(NLS_INFO_THOUSANDS_SEP, value, sizeof value));
  EXPECT_EQ(1, nlsGetLocaleInfo(NLS_INFO_MON_THOUSANDS_SEP, value, sizeof value));
  EXPECT_EQ(0, nlsGetLocaleInfo(3, value, sizeof value));
  EXPECT_EQ(0, nlsGetLocaleInfo(-1, value, sizeof value));
  // LC_NUMERIC stays switched.
  EXPECT_NE(nullptr, setlocale(LC_NUMERIC, nullptr));
}

// --- Translation --------------------------------------------------------------------

TEST_F(Nls, ThePoundSignBecomesAQuestionMarkInAscii7) {
  initIn("");
  char out[8];
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 3,
                               "\xA3"
                               "1",
                               2, 4));
  EXPECT_STREQ("?1", out);
}

TEST_F(Nls, TheLiraSignTranslatesThroughTheExtensionList) {
  initIn("");
  // roman8 0xAF is the lira sign; 8859-1 has none, its extension list maps
  // it to the pound sign.
  const unsigned char *vector = nlsGetCharMap(5, 4);
  ASSERT_NE(nullptr, vector);
  EXPECT_EQ(0xA3, vector[0xAF]);
  char out[4];
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 4, "\xAF", 1, 5));
  EXPECT_EQ('\xA3', out[0]);
  // Into ascii7 the lira becomes "#" and into pc850 0x9C.
  EXPECT_EQ('#', nlsGetCharMap(5, 3)[0xAF]);
  EXPECT_EQ(0x9C, nlsGetCharMap(5, 8)[0xAF]);
}

TEST_F(Nls, TranslationVectorsAreCached) {
  initIn("");
  const unsigned char *a = nlsGetCharMap(4, 8);
  ASSERT_NE(nullptr, a);
  EXPECT_EQ(a, nlsGetCharMap(4, 8));
  EXPECT_EQ(a, nlsGetCharMap(1, 8));          // 1 is the current set (8859-1)
  EXPECT_EQ(0x81, a[0xFC]);                   // u-umlaut is 0x81 in pc850
  EXPECT_EQ('?', nlsGetCharMap(3, 4)[0x80]);  // no character in ascii7
  EXPECT_EQ(nullptr, nlsGetCharMap(4, 13));
  EXPECT_EQ(nullptr, nlsGetCharMap(0, 4));
  EXPECT_EQ(nullptr, nlsGetCharMap(11, 4));  // a spare slot has no map
}

TEST_F(Nls, TheShippedCharmapFillsTheFirstSpareSlot) {
  initIn("");
  EXPECT_EQ(10, nlsCharSetIdFromName("cp1252"));
  const unsigned char *vector = nlsGetCharMap(10, 4);
  ASSERT_NE(nullptr, vector);
  EXPECT_EQ('?', vector[0x80]);   // the euro sign has no place in 8859-1
  EXPECT_EQ(0xE9, vector[0xE9]);  // e-acute stays
  // Into cp1252 the lira sign becomes the pound sign through its list.
  EXPECT_EQ(0xA3, nlsGetCharMap(5, 10)[0xAF]);
}

TEST_F(Nls, TranslatingASetIntoItselfCopiesAndTruncates) {
  initIn("");
  char out[6];
  memset(out, 'x', sizeof out);
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 4, "abcdefgh", 8, 4));
  EXPECT_STREQ("abcde", out);
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 13, "abcdefgh", 8, 3));  // from ascii7: a copy
  EXPECT_STREQ("abcde", out);
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 2, "\x81\x82", 2, 13));  // binary8: a copy
  EXPECT_STREQ("\x81\x82", out);
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 1, "xy", 2, 1));
  EXPECT_STREQ("xy", out);
}

TEST_F(Nls, TranslationRefusesNoneAndUnknownPairs) {
  initIn("");
  char out[8];
  EXPECT_EQ(0, nlsStrTranslate(out, sizeof out, 0, "a", 1, 4));
  EXPECT_EQ(0, nlsStrTranslate(out, sizeof out, 4, "a", 1, 0));
  EXPECT_EQ(0, nlsStrTranslate(out, sizeof out, 15, "a", 1, 13));
  EXPECT_EQ(0, nlsStrTranslate(out, sizeof out, 22, "a", 1, 4));
  EXPECT_EQ(0, nlsStrTranslate(out, sizeof out, 4, "a", 1, 11));  // no map for sbSpare2
}

TEST_F(Nls, SingleByteTranslationStopsAtTheRoom) {
  initIn("");
  char out[4];
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 8, "\xE9\xE8\xEA\xEB", 4, 4));
  EXPECT_STREQ("\x82\x8A\x88", out);
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 8, "\xE9", 1, 4));
  EXPECT_STREQ("\x82", out);
}

TEST_F(Nls, EucAndShiftJisConvertByArithmetic) {
  initIn("");
  // "A", ideographic space, the first kanji, a row-0x5F kanji, half-width
  // katakana "a".
  const char sjis[] = "A\x81\x40\x88\x9F\xE0\x40\xB1";
  const char euc[] = "A\xA1\xA1\xB0\xA1\xDF\xA1\x8E\xB1";
  char out[32];
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 14, sjis, static_cast<int>(strlen(sjis)), 13));
  EXPECT_STREQ(euc, out);
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 13, euc, static_cast<int>(strlen(euc)), 14));
  EXPECT_STREQ(sjis, out);
  // Odd and even rows, cells on both sides of 0x7F.
  const char sjis2[] = "\x81\x7E\x81\x80\x81\x9E\x81\x9F\x9F\xFC\xEA\xA4";
  const char euc2[] = "\xA1\xDF\xA1\xE0\xA1\xFF\xA2\xA1\xBE\xFE\xF4\xA6";
  (void)euc2;
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 14, sjis2, static_cast<int>(strlen(sjis2)), 13));
  char back[32];
  ASSERT_EQ(1, nlsStrTranslate(back, sizeof back, 13, out, static_cast<int>(strlen(out)), 14));
  EXPECT_STREQ(sjis2, back);
}

TEST_F(Nls, EucToShiftJisStopsBeforeACharacterThatDoesNotFit) {
  initIn("");
  char out[4];
  ASSERT_EQ(1, nlsStrTranslate(out, sizeof out, 13, "A\xB0\xA1\xB0\xA1", 5, 14));
  EXPECT_STREQ("A\x88\x9F", out);
  ASSERT_EQ(1, nlsStrTranslate(out, 3, 13, "A\xB0\xA1", 3, 14));
  EXPECT_STREQ("A", out);
}

// --- Collation ----------------------------------------------------------------------

TEST_F(Nls, WithoutATableCollationIsTheRuntimes) {
  initIn("");
  EXPECT_EQ(nullptr, nlsGetCollSeq());
  EXPECT_LT(nlsStrcoll("abc", 0, "abd"), 0);
  EXPECT_GT(nlsStrcoll("b", 0, "a"), 0);
  EXPECT_EQ(0, nlsStrcoll("same", 0, "same"));
  EXPECT_EQ(0, nlsStricoll("Hello", 0, "hELLO"));
  EXPECT_LT(nlsStricoll("apple", 0, "BANANA"), 0);
  EXPECT_GT(nlsStricoll("Cherry", 0, "banana"), 0);
}

TEST_F(Nls, TheShippedDictionaryOrder) {
  initIn("");
  ASSERT_EQ(1, nlsSetCollSeq("latin1-dictionary"));
  const unsigned char *w = nlsGetCollSeq();
  ASSERT_NE(nullptr, w);
  EXPECT_EQ(w['a'], w['A']);
  EXPECT_EQ(w['a'], w[0xE4]);  // a-umlaut
  EXPECT_LT(w['9'], w['a']);
  EXPECT_LT(w['a'], w[0xE6]);  // ae after a
  EXPECT_LT(w[0xE6], w['b']);
  EXPECT_EQ(0, nlsStrcoll("Apfel", 0, "apfel"));
  EXPECT_EQ(0, nlsStrcoll("\xC4pfel", 0, "Apfel"));
  EXPECT_LT(nlsStrcoll("apple", 0, "Banana"), 0);
  EXPECT_GT(nlsStrcoll("zebra", 0, "Apple"), 0);
  EXPECT_LT(nlsStrcoll("ab", 0, "abc"), 0);  // s1 ran out
  EXPECT_GT(nlsStrcoll("abc", 0, "ab"), 0);  // s2 ran out
  EXPECT_EQ(0, nlsStrcoll("", 0, ""));
}

TEST_F(Nls, AnUnknownSequenceClearsTheTable) {
  initIn("");
  ASSERT_EQ(1, nlsSetCollSeq("latin1-dictionary"));
  ASSERT_NE(nullptr, nlsGetCollSeq());
  EXPECT_EQ(1, nlsSetCollSeq("no-such-sequence"));
  EXPECT_EQ(nullptr, nlsGetCollSeq());
  ASSERT_EQ(1, nlsSetCollSeq("latin1-dictionary"));
  EXPECT_EQ(1, nlsSetCollSeq(nullptr));
  EXPECT_EQ(nullptr, nlsGetCollSeq());
  EXPECT_EQ(1, nlsSetCollSeq("latin1-DICTIONARY"));  // the name is matched exactly
  EXPECT_EQ(nullptr, nlsGetCollSeq());
}

TEST_F(Nls, CollationSequencesOfATestTable) {
  std::string weights;
  for (int i = 0; i < 256; ++i) {
    weights += std::to_string(255 - i) + (i % 16 == 15 ? "\n" : " ");
  }
  nlstest::TableFile table(nlstest::minimalRows() + "LCCOLLATE reversed\n" + weights + "END\n" +
                           "LCCOLLATE short\n# only two\n5 5\nEND\n" + "LCCOLLATE broken\n1 2 x\nEND\n" +
                           "LCCOLLATE toobig\n300\nEND\n");
  ASSERT_EQ(0, nlstest::initWith(table.path()).status);
  ASSERT_EQ(1, nlsSetCollSeq("reversed"));
  EXPECT_GT(nlsStrcoll("a", 0, "b"), 0);
  EXPECT_LT(nlsStrcoll("b", 0, "a"), 0);
  // Unlisted bytes weigh their own value.
  ASSERT_EQ(1, nlsSetCollSeq("short"));
  ASSERT_NE(nullptr, nlsGetCollSeq());
  EXPECT_EQ(5, nlsGetCollSeq()[1]);
  EXPECT_EQ('a', nlsGetCollSeq()['a']);
  EXPECT_EQ(1, nlsSetCollSeq("broken"));
  EXPECT_EQ(nullptr, nlsGetCollSeq());
  EXPECT_EQ(1, nlsSetCollSeq("toobig"));
  EXPECT_EQ(nullptr, nlsGetCollSeq());
}

// --- Start-up ------------------------------------------------------------------------

TEST_F(Nls, ProcessInitialisationReportsTableErrorsPlusAThousand) {
  nlstest::TableFile table("de_DE:nosuchset:winnt:deu\n");
  nlstest::TableSetting setting(table.path());
  EXPECT_EQ(1010, servicesProcessInitialize(ORV_ITEM_END));
  servicesProcessTerminate(0);
  testsupport::unsetEnv("ORVNLSTAB");
  nlstest::TableSetting none("");
  testsupport::unsetEnv("ORVNLSTAB");
  EXPECT_EQ(1001, servicesProcessInitialize(ORV_ITEM_END));
  servicesProcessTerminate(0);
}

TEST_F(Nls, ProcessInitialisationWithTheShippedTable) {
  ASSERT_EQ(0, servicesProcessInitialize(ORV_ITEM_END));
  EXPECT_EQ(nlsPackLangId("en_US"), nlsGetLangId());
  servicesProcessTerminate(0);
  EXPECT_EQ(0, nlsTerminate());  // already terminated by the frame
}

TEST_F(Nls, ThreadsFillTheTranslationCacheAtOnce) {
  initIn("");
  std::vector<std::thread> threads;
  std::vector<const unsigned char *> seen(4 * 10);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &seen] {
      for (int to = 3; to <= 12; ++to) {
        seen[static_cast<size_t>(t * 10 + to - 3)] = nlsGetCharMap(6, to);
        char out[8];
        nlsStrTranslate(out, sizeof out, to, "\xA3\xE9", 2, 6);
      }
    });
  }
  for (std::thread &th : threads) {
    th.join();
  }
  for (int to = 3; to <= 12; ++to) {
    for (int t = 1; t < 4; ++t) {
      EXPECT_EQ(seen[static_cast<size_t>(to - 3)], seen[static_cast<size_t>(t * 10 + to - 3)]) << to;
    }
  }
  EXPECT_NE(nullptr, seen[4 - 3]);  // decMCS to 8859-1
}

TEST_F(Nls, StringPrimitivesRunOnManyThreads) {
  initIn("jpn");
  std::vector<std::thread> threads;
  std::atomic<int> failures{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&failures] {
      for (int i = 0; i < 1000; ++i) {
        char out[8];
        nlsStrncpy(out, "a\x82\xA0\x82\xA0", 5);
        if (strcmp(out, "a\x82\xA0") != 0 || nlsStrlen("a\x82\xA0") != 2) {
          ++failures;
        }
      }
    });
  }
  for (std::thread &th : threads) {
    th.join();
  }
  EXPECT_EQ(0, failures.load());
}
