// The library frame: message table, no-op entry points, curve handles and the exception guard.
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "core/host_adapters/guard.h"
#include "crv/crv.h"
#include "host/hs.h"
#include "host/host_test.h"

namespace {

TEST(MessageTable, IsLaidOutForTheHost) {
  const CRV_LStrTable* table = CRV_G_zref;
  ASSERT_NE(table, nullptr);
  EXPECT_STREQ(table->shortName, "CRV");
  EXPECT_EQ(table->count, 9u);
  EXPECT_EQ(table->reserved, 0u);
  const char* expected[8] = {
      "$$$/ZT/CRV/LStr/0000=damaged CRV structure.",
      "$$$/ZT/CRV/LStr/0001=temporary vectors in arclength calculation",
      "$$$/ZT/CRV/LStr/0002=invalid ease/influence values",
      "$$$/ZT/CRV/LStr/0003=invalid time-remapping control points",
      "$$$/ZT/CRV/LStr/0004=invalid time-remapping domain",
      "$$$/ZT/CRV/LStr/0005=unsupported CRV data type",
      "$$$/ZT/CRV/LStr/0006=Bezier Curve",
      "$$$/ZT/CRV/LStr/0007=List of parameter values",
  };
  for (int i = 0; i < 8; ++i) {
    SCOPED_TRACE(i);
    EXPECT_STREQ(table->entries[i].text, expected[i]);
    for (uint64_t word : table->entries[i].host) EXPECT_EQ(word, 0u);
  }
  const CRV_LStrEntry& end = table->entries[8];
  EXPECT_EQ(end.text, nullptr);
  EXPECT_EQ(end.host[0], ~uint64_t{0});
  EXPECT_EQ(end.host[1], ~uint64_t{0});
  EXPECT_EQ(end.host[2], 0u);
}

TEST(MessageTable, HostWordsAreWritableAndTheHostFindsTheNames) {
  CRV_LStrEntry& entry = CRV_G_zref->entries[6];
  entry.host[1] = 0x1234;  // the host's string service caches here
  EXPECT_EQ(entry.host[1], 0x1234u);
  entry.host[1] = 0;
  EXPECT_STREQ(HS_ZLookupLStrCache(CRV_G_zref, 6, 0, 0), "Bezier Curve");
  EXPECT_STREQ(HS_ZLookupLStrCache(CRV_G_zref, 7, 0, 0), "List of parameter values");
}

TEST(Frame, NoOpEntryPointsIgnoreTheirArguments) {
  EXPECT_EQ(CRV_Birth(), CRV_ErrNone);
  EXPECT_EQ(CRV_Death(), CRV_ErrNone);
  EXPECT_EQ(CRV_CurveSetCtpts(nullptr, nullptr), CRV_ErrNone);
  EXPECT_EQ(CRV_DisposeCurve(nullptr), CRV_ErrNone);
  EXPECT_EQ(CRV_EvaluateByCurvature(nullptr, 0.5, nullptr), CRV_ErrNone);
}

TEST(Frame, NewCurveAsksForOneHandleAndKeepsNothing) {
  const int64_t live = HOST_LiveHandles();
  HOST_ClearFaults();
  EXPECT_EQ(CRV_NewCurve(), CRV_ErrNone);
  EXPECT_EQ(HOST_CallCount(), 1);  // the handle request is its only failable host call
  EXPECT_EQ(HOST_LiveHandles(), live);

  HOST_FailNthCall(1, -77);  // no memory: still nothing to report and nothing to free
  EXPECT_EQ(CRV_NewCurve(), CRV_ErrNone);
  EXPECT_EQ(HOST_LiveHandles(), live);
  HOST_ClearFaults();
}

struct Owner {
  int* released;
  ~Owner() { ++*released; }
};

TEST(Guard, TurnsThrownValuesIntoCodes) {
  EXPECT_EQ(crv::RunGuarded([] { return 0; }), 0);
  EXPECT_EQ(crv::RunGuarded([] { return 5; }), 5);
  EXPECT_EQ(crv::RunGuarded([]() -> int32_t { throw 7; }), 7);

  const std::runtime_error error("boom");
  const int32_t translated = HS_TranslateAndReportException(error);
  EXPECT_EQ(crv::RunGuarded([]() -> int32_t { throw std::runtime_error("boom"); }), translated);
  EXPECT_STREQ(HOST_LastReportedException(), "boom");
  EXPECT_EQ(crv::RunGuarded([]() -> int32_t { throw std::bad_alloc(); }),
            HS_TranslateAndReportException(std::bad_alloc()));
}

TEST(Guard, LetsForeignExceptionsThroughAfterReleasingTemporaries) {
  int released = 0;
  EXPECT_THROW(crv::RunGuarded([&]() -> int32_t {
                 Owner owner{&released};
                 throw 2.5;
               }),
               double);
  EXPECT_EQ(released, 1);
}

}  // namespace
