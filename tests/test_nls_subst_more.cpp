// Parameter substitution with a null or empty marker: nothing matches, and
// a split parameter string is not split at all.
#include <string>

#include <gtest/gtest.h>

#include "orvane/nls.h"
#include "orvane/nls_format.h"

TEST(SubstMore, ANullOrEmptyMarkerMatchesNothing) {
  for (const char *marker : {static_cast<const char *>(nullptr), ""}) {
    SCOPED_TRACE(marker == nullptr ? "null" : "empty");
    char out[64] = {};
    EXPECT_EQ(1, nlsSubstituteParameters(out, sizeof out, "a & b \\& c", marker, 0, 2, 1, "x&y"));
    EXPECT_EQ(std::string("a & b & c"), out) << "the escape still applies";
    const char *values[2] = {"x", "y"};
    EXPECT_EQ(1, nlsSubstituteParameters(out, sizeof out, "p&q", marker, 0, 2, 0, values));
    EXPECT_EQ(std::string("p&q"), out);
  }
}
