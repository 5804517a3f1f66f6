// Sets, binds and the core's own writes, as a host sees them.
#include "tests/boundary/testHost.h"
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

using namespace testHost;

namespace {

std::vector<int32_t> ints;
std::vector<double> doubles;
std::vector<std::string> texts;
std::thread::id callbackThread;

void hearInt(int32_t v) {
  ints.push_back(v);
  callbackThread = std::this_thread::get_id();
}
void hearDouble(double v) { doubles.push_back(v); }
void hearText(const char* v) { texts.push_back(v); }

struct propertiesTest : testing::Test {
  propertiesTest() {
    start();
    ints.clear();
    doubles.clear();
    texts.clear();
  }
};

} // namespace

TEST_F(propertiesTest, pingComesBackAsEchoAtAPoll) {
  asyncObject* h = watched(asyncObject_create());
  asyncObject_bindEcho(h, hearInt);
  asyncObject_Ping(h, 7);
  EXPECT_TRUE(ints.empty()); // not inside the call
  ASSERT_TRUE(pollUntil([] { return !ints.empty(); }));
  EXPECT_EQ(ints, std::vector<int32_t>{7});
  EXPECT_EQ(callbackThread, std::this_thread::get_id());
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, pingsKeepTheirOrder) {
  asyncObject* h = watched(asyncObject_create());
  asyncObject_bindEcho(h, hearInt);
  std::vector<int32_t> sent;
  for (int32_t i = 0; i < 1000; i++) {
    sent.push_back(i * 3 - 1500);
    asyncObject_Ping(h, sent.back());
  }
  EXPECT_TRUE(pollUntil([&] { return ints.size() >= sent.size(); }));
  EXPECT_EQ(ints, sent);
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, theHostsOwnSetIsNotEchoed) {
  cwModDemod* h = watched(cwModDemod_create());
  cwModDemod_bindwpm(h, hearDouble);
  cwModDemod_setwpm(h, 25.0);
  EXPECT_TRUE(settle(h));
  cwModDemod_bindwpm(h, hearDouble); // nor at a bind behind it
  EXPECT_TRUE(settle(h));
  EXPECT_TRUE(doubles.empty());
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, anOwnWriteIsToldAtBindAndAtEachChange) {
  PskModDemod* h = watched(PskModDemod_create());
  PskModDemod_bindprimaryDetector(h, hearInt);
  EXPECT_TRUE(settle(h));
  EXPECT_TRUE(ints.empty()); // defaults aren't told
  PskModDemod_setmode(h, 16);
  EXPECT_TRUE(settle(h));
  EXPECT_EQ(ints, std::vector<int32_t>{62}); // the core chose the detector
  ints.clear();
  PskModDemod_bindprimaryDetector(h, hearInt);
  EXPECT_TRUE(ints.empty()); // not inside the bind
  EXPECT_TRUE(settle(h));
  EXPECT_EQ(ints, std::vector<int32_t>{62}); // once, the present value
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, aSetOfThePresentValueChangesNothing) {
  PskModDemod* h = watched(PskModDemod_create());
  PskModDemod_bindprimaryDetector(h, hearInt);
  PskModDemod_setmode(h, 16);
  PskModDemod_setmode(h, 16);
  PskModDemod_setmode(h, 0);
  EXPECT_TRUE(settle(h));
  EXPECT_EQ(ints, (std::vector<int32_t>{62, 60}));
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, bindingNullEndsTheReports) {
  PskModDemod* h = watched(PskModDemod_create());
  PskModDemod_bindprimaryDetector(h, hearInt);
  PskModDemod_setmode(h, 16);
  EXPECT_TRUE(settle(h));
  ints.clear();
  PskModDemod_bindprimaryDetector(h, nullptr);
  PskModDemod_setmode(h, 8);
  EXPECT_TRUE(settle(h));
  EXPECT_TRUE(ints.empty());
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, aRowOfChoicesIsToldAtBind) {
  ValueLabelItem* h = watched(ValueLabelItem_create());
  ValueLabelItem_setValue(h, 192000);
  ValueLabelItem_setLabel(h, "192k");
  EXPECT_TRUE(settle(h));
  ValueLabelItem_bindValue(h, hearInt);
  ValueLabelItem_bindLabel(h, hearText);
  EXPECT_TRUE(settle(h));
  EXPECT_EQ(ints, std::vector<int32_t>{192000});
  EXPECT_EQ(texts, std::vector<std::string>{"192k"});
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, aTextKeepsEveryByte) {
  ValueLabelItem* h = watched(ValueLabelItem_create());
  std::string all;
  for (int c = 1; c < 256; c++) all += static_cast<char>(c);
  const std::string longText(100000, '\xE9');
  for (const std::string& text : {all, std::string(), longText}) {
    std::string buffer = text;
    ValueLabelItem_setLabel(h, buffer.c_str());
    std::fill(buffer.begin(), buffer.end(), 'x'); // the host's buffer is free when the call returns
    EXPECT_TRUE(settle(h));
    texts.clear();
    ValueLabelItem_bindLabel(h, hearText);
    EXPECT_TRUE(settle(h));
    EXPECT_EQ(texts, std::vector<std::string>{text});
  }
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, aNullTextCountsAsEmpty) {
  ValueLabelItem* h = watched(ValueLabelItem_create());
  ValueLabelItem_setLabel(h, "full");
  ValueLabelItem_setLabel(h, nullptr);
  EXPECT_TRUE(settle(h));
  ValueLabelItem_bindLabel(h, hearText);
  EXPECT_TRUE(settle(h));
  EXPECT_EQ(texts, std::vector<std::string>{""});
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, aTextThatIsUnboundMeanwhileIsALogLine) {
  ValueLabelItem* h = watched(ValueLabelItem_create());
  const size_t before = count(logged(), "getUpdates bad_function_call");
  ValueLabelItem_bindLabel(h, hearText);
  ValueLabelItem_bindLabel(h, nullptr);
  EXPECT_TRUE(settle(h));
  EXPECT_TRUE(texts.empty());
  EXPECT_EQ(count(logged(), "getUpdates bad_function_call"), before + 1);
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, scalarsKeepTheirExtremes) {
  ValueLabelItem* h = watched(ValueLabelItem_create());
  for (const int32_t v : {std::numeric_limits<int32_t>::min(), -1, 1, std::numeric_limits<int32_t>::max()}) {
    ints.clear();
    ValueLabelItem_setValue(h, v);
    EXPECT_TRUE(settle(h));
    ValueLabelItem_bindValue(h, hearInt);
    EXPECT_TRUE(settle(h));
    EXPECT_EQ(ints, std::vector<int32_t>{v});
  }
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_F(propertiesTest, whatWaitsStillRunsBehindARelease) {
  asyncObject* h = asyncObject_create();
  static std::vector<std::string> order;
  order.clear();
  asyncObject_bindEcho(h, [](int32_t v) { order.push_back("echo " + std::to_string(v)); });
  asyncObject_bindDeleted(h, [](int32_t v) { order.push_back("deleted " + std::to_string(v)); });
  for (int32_t i = 1; i <= 3; i++) asyncObject_Ping(h, i);
  asyncObject_release(h);
  EXPECT_TRUE(pollUntil([] { return order.size() >= 4; }));
  EXPECT_EQ(order, (std::vector<std::string>{"echo 1", "echo 2", "echo 3", "deleted 1"}));
}

TEST_F(propertiesTest, anObjectLivesAsLongAsACollectionHoldsIt) {
  J16Filter* filter = watched(J16Filter_create());
  J16FilterBands* band = watched(J16FilterBands_create());
  J16Filter_setFilterBands(filter, larch_append, 0, band);
  EXPECT_TRUE(settle(filter));
  const int before = deletions();
  J16FilterBands_release(band);
  EXPECT_TRUE(settle(filter));
  EXPECT_EQ(deletions(), before);
  J16Filter_resetFilterBands(filter);
  EXPECT_TRUE(pollUntil([before] { return deletions() > before; }));
  EXPECT_TRUE(releaseAndWait(filter));
}

TEST_F(propertiesTest, aCallbackMaySetAndBind) {
  static ValueLabelItem* h;
  h = watched(ValueLabelItem_create());
  ValueLabelItem_bindValue(h, [](int32_t v) {
    ints.push_back(v);
    if (ints.size() > 3) return;
    ValueLabelItem_setValue(h, v + 1);
    asyncObject_Ping(base(h), v);
  });
  asyncObject_bindEcho(base(h), [](int32_t) {
    ValueLabelItem_bindValue(h, [](int32_t v) { ints.push_back(v * 100); }); // the set has run: it came before the Ping
  });
  EXPECT_TRUE(pollUntil([] { return ints.size() >= 2; }));
  EXPECT_EQ(ints, (std::vector<int32_t>{0, 100}));
  EXPECT_TRUE(releaseAndWait(h));
}
