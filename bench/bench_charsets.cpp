// Character-set conversion of a megabyte of Japanese text in s-jis: the
// library's orvCharacterSetConvertToUnicode and ...FromUnicode against glibc
// iconv (CP932 to UTF-16LE and back) on the same text. Both sides produce a
// new output block per conversion, as the library's interface does.
#include <iconv.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <benchmark/benchmark.h>

#include "bench_nls_setup.h"
#include "orvane/charsets.h"
#include "orvane/nls.h"
#include "ratio.h"

namespace {

std::string sjisText;
std::u16string utf16Text;
orvCharSet sjis = 0;

void BM_orvToUnicode(benchmark::State &state) {
  for (auto _ : state) {
    uint32_t length = static_cast<uint32_t>(sjisText.size());
    uint32_t size = 0;
    uint16_t *u = orvCharacterSetConvertToUnicode(sjis, sjisText.data(), &length, &size);
    benchmark::DoNotOptimize(u);
    free(u);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sjisText.size()));
}
BENCHMARK(BM_orvToUnicode)->Unit(benchmark::kMillisecond);

void BM_iconvToUnicode(benchmark::State &state) {
  iconv_t cd = iconv_open("UTF-16LE", "CP932");
  for (auto _ : state) {
    size_t capacity = (sjisText.size() + 1) * 2;
    char *out = static_cast<char *>(malloc(capacity));
    char *in = sjisText.data();
    size_t inLeft = sjisText.size();
    char *outPtr = out;
    size_t outLeft = capacity;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    benchmark::DoNotOptimize(out);
    free(out);
  }
  iconv_close(cd);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sjisText.size()));
}
BENCHMARK(BM_iconvToUnicode)->Unit(benchmark::kMillisecond);

void BM_orvFromUnicode(benchmark::State &state) {
  for (auto _ : state) {
    uint32_t length = static_cast<uint32_t>(utf16Text.size());
    uint32_t size = 0;
    char *n = orvCharacterSetConvertFromUnicode(sjis, reinterpret_cast<const uint16_t *>(utf16Text.data()),
                                                &length, &size);
    benchmark::DoNotOptimize(n);
    free(n);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sjisText.size()));
}
BENCHMARK(BM_orvFromUnicode)->Unit(benchmark::kMillisecond);

void BM_iconvFromUnicode(benchmark::State &state) {
  iconv_t cd = iconv_open("CP932", "UTF-16LE");
  for (auto _ : state) {
    size_t capacity = (utf16Text.size() + 1) * 2;
    char *out = static_cast<char *>(malloc(capacity));
    char *in = reinterpret_cast<char *>(utf16Text.data());
    size_t inLeft = utf16Text.size() * 2;
    char *outPtr = out;
    size_t outLeft = capacity;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    benchmark::DoNotOptimize(out);
    free(out);
  }
  iconv_close(cd);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sjisText.size()));
}
BENCHMARK(BM_iconvFromUnicode)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char **argv) {
  if (!nlsbench::initLanguageSupport("jpn")) {
    return 1;
  }
  int error = 0;
  sjis = orvCharacterSetCreate("s-jis", &error);
  if (sjis == 0) {
    fprintf(stderr, "no s-jis character set (error %d)\n", error);
    return 1;
  }
  sjisText = nlsbench::japaneseText();
  uint32_t length = static_cast<uint32_t>(sjisText.size());
  uint16_t *u = orvCharacterSetConvertToUnicode(sjis, sjisText.data(), &length, nullptr);
  if (u == nullptr) {
    fprintf(stderr, "the benchmark text does not convert\n");
    return 1;
  }
  utf16Text.assign(reinterpret_cast<char16_t *>(u), length);
  free(u);
  printf("text: %zu bytes of s-jis, %zu UTF-16 units\n", sjisText.size(), utf16Text.size());
  int rc = benchratio::runAndReport(
      argc, argv,
      {{"BM_orvToUnicode", "BM_iconvToUnicode", 1.0}, {"BM_orvFromUnicode", "BM_iconvFromUnicode", 1.0}});
  orvCharacterSetDestroy(sjis);
  nlsTerminate();
  return rc;
}
