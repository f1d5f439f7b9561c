// The file layer's table from Win32 error numbers to its codes.
#include <cstdint>
#include <map>

#include <gtest/gtest.h>

#include "common/files/file_errors.h"

namespace {

// Every Win32 error number the file layer names, with its code.
const std::map<uint32_t, int32_t> &expectedTable() {
  static const std::map<uint32_t, int32_t> table = {
      {0, 0},      {2, -17},   {3, -39},   {161, -39}, {4, -50},   {5, -2},     {6, -25},   {114, -25},
      {1006, -25}, {8, -36},   {9, -22},   {12, -21},  {87, -21},  {14, -43},   {84, -43},  {15, -24},
      {16, -10},   {17, -23},  {20, -23},  {31, -23},  {55, -23},  {1200, -23}, {19, -52},  {21, -12},
      {25, -45},   {132, -45}, {27, -44},  {29, -51},  {30, -40},  {32, -47},   {33, -29},  {36, -46},
      {38, -1},    {39, -13},  {112, -13}, {51, -41},  {53, -8},   {1203, -8},  {54, -35},  {80, -15},
      {183, -15},  {82, -9},   {108, -14}, {110, -37}, {123, -26}, {267, -26},  {142, -42}, {170, -42},
      {167, -28},  {206, -34}, {487, -7},  {995, -38}, {996, -38},
  };
  return table;
}

}  // namespace

TEST(FileErrors, EveryListedNumberHasItsCode) {
  for (const auto &[error, code] : expectedTable()) {
    EXPECT_EQ(code, files::codeFromWin32Error(error)) << "Win32 error " << error;
  }
}

TEST(FileErrors, EveryOtherNumberIsUnknown) {
  const auto &table = expectedTable();
  for (uint32_t error = 0; error < 20000; ++error) {
    if (table.count(error) == 0) {
      ASSERT_EQ(files::kCodeUnknown, files::codeFromWin32Error(error)) << "Win32 error " << error;
    }
  }
  EXPECT_EQ(-53, files::codeFromWin32Error(0xFFFFFFFFu));
  EXPECT_EQ(-53, files::codeFromWin32Error(0x80000000u));
}

TEST(FileErrors, NumbersThePlatformLayerReports) {
  // The errors the platform layer's file and mapping calls leave behind.
  EXPECT_EQ(-29, files::codeFromWin32Error(33));    // lock held elsewhere
  EXPECT_EQ(-13, files::codeFromWin32Error(112));   // short write, disk full
  EXPECT_EQ(-47, files::codeFromWin32Error(32));    // busy executable
  EXPECT_EQ(-53, files::codeFromWin32Error(1224));  // cut under a live map
  EXPECT_EQ(-53, files::codeFromWin32Error(1132));  // misaligned view
  EXPECT_EQ(-53, files::codeFromWin32Error(131));   // seek before the start
  EXPECT_EQ(-53, files::codeFromWin32Error(158));   // range not locked
}

TEST(FileErrors, SelfRaisedCodes) {
  EXPECT_EQ(-10, files::kCodeCannotDelete);
  EXPECT_EQ(-13, files::kCodeNoTemporaryFile);
  EXPECT_EQ(-17, files::kCodeFileMissing);
  EXPECT_EQ(-33, files::kCodeLockFailed);
  EXPECT_EQ(-36, files::kCodeOutOfMemory);
  EXPECT_EQ(-49, files::kCodeKeyUnreadable);
}
