// Message lookups from several threads at once: the texts a catalog has
// already made in the current character set are shared between threads, so
// every thread must get every text whole, whoever made it first (run under
// the tsan preset as well).
#include <stdlib.h>
#include <string.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "../test_catalog_files.h"
#include "orvane/catalog.h"
#include "support/test_support.h"

namespace {

std::u16string textOf(uint32_t i) {
  std::u16string s = u"lead, message ";
  for (char c : std::to_string(i)) {
    s.push_back(static_cast<char16_t>(c));
  }
  s += u" caf\u00e9";
  return s;
}

std::string expectedOf(uint32_t i) { return "message " + std::to_string(i) + " caf\xe9"; }

TEST(CatalogThreads, LookupsFromManyThreadsAgree) {
  const std::string dir = testsupport::makeScratchDir("catthreads");
  const std::string path = dir + testsupport::kSep + "many.cat";
  std::vector<cattest::Message> messages;
  constexpr uint32_t kCount = 500;
  for (uint32_t i = 0; i < kCount; ++i) {
    messages.push_back({0x200000 + i, textOf(i)});
  }
  testsupport::writeFile(path, cattest::simple(messages));
  cmCatalog *c = nullptr;
  ASSERT_EQ(0, cmOpenCatalog(&c, path.c_str()));
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int k = 0; k < 4; ++k) {
    threads.emplace_back([k, &failures] {
      // Each thread walks the ids from a different start, so that entries
      // are made by different threads and often by two at once.
      for (uint32_t n = 0; n < 3 * kCount; ++n) {
        const uint32_t i = (n * 7 + static_cast<uint32_t>(k) * 131) % kCount;
        char *text = cmGetRawMessage(0x200000 + i);
        if (text == nullptr || expectedOf(i) != text) {
          failures++;
        }
        free(text);
      }
    });
  }
  for (std::thread &t : threads) {
    t.join();
  }
  EXPECT_EQ(0, failures.load());
  EXPECT_EQ(0, cmCloseCatalog(c));
  testsupport::removeTree(dir);
}

}  // namespace
