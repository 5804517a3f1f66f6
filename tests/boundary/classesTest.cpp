// Every class of the list is created; everything of it is bound, set and released, by the list's own types.
#include "tests/boundary/prototypes.h"
#include "tests/boundary/testHost.h"
#include <algorithm>
#include <cmath>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <set>

using namespace testHost;

namespace {

const std::vector<prototype>& list() {
  static const auto all = exports();
  return all;
}
const prototype* find(const std::string& name) {
  for (const prototype& p : list())
    if (p.name == name) return &p;
  return nullptr;
}
template <class F> F function(const std::string& name) {
  void* address = dlsym(RTLD_DEFAULT, name.c_str());
  EXPECT_NE(address, nullptr) << name;
  return reinterpret_cast<F>(address);
}
std::string classOf(const prototype& p) { return p.name.substr(0, p.name.find('_')); }

std::set<std::string> classes() {
  std::set<std::string> names;
  for (const prototype& p : list())
    if (p.name.size() > 7 && p.name.substr(p.name.size() - 7) == "_create" && p.arguments.empty()) names.insert(classOf(p));
  return names;
}
asyncObject* create(const std::string& name) { return watched(function<asyncObject* (*)()>(name + "_create")()); }

// A class's own functions and those of its bases.
std::vector<prototype> functionsOf(const std::string& name) {
  std::set<std::string> families = {name, "asyncObject"};
  if (name.size() > 8 && name.substr(name.size() - 8) == "ModDemod") families.insert("modDemod");
  if (name == "HpsdrRadio" || name == "HpsdrNpRadio") families.insert("Radio");
  std::vector<prototype> out;
  for (const prototype& p : list())
    if (families.count(classOf(p)) && !p.arguments.empty() && p.arguments[0] == classOf(p) + "*") out.push_back(p);
  return out;
}

// What the host gets it gives back: all releases are one function.
void dropRow(int32_t, int32_t, asyncObject* item) { asyncObject_release(item); }
void dropObject(asyncObject* item) { asyncObject_release(item); }
void dropVtrx(asyncObject* item, int32_t, int32_t) { asyncObject_release(item); }
void dropArray(floatArray* a) { floatArray_delete(a); }
void dropFrame(floatArray* a, double, double, int32_t) { floatArray_delete(a); }
void dropBlock(complexArray* a) { complexArray_delete(a); }
void dropBlocks(complexArray* a, complexArray* b) {
  complexArray_delete(a);
  complexArray_delete(b);
}

// Binds by the callback's type; false when the type is unknown.
bool bind(const prototype& p, asyncObject* h) {
  if (p.name == "asyncObject_bindDeleted") return true; // counted already
  const std::string type = p.arguments[1];
  auto with = [&](auto callback) {
    function<void (*)(asyncObject*, decltype(callback))>(p.name)(h, callback);
    return true;
  };
  if (type == "void (*)(bool)") return with(+[](bool) {});
  if (type == "void (*)(int32_t)") return with(+[](int32_t) {});
  if (type == "void (*)(float)") return with(+[](float) {});
  if (type == "void (*)(double)") return with(+[](double) {});
  if (type == "void (*)(const char*)") return with(+[](const char*) {});
  if (type == "void (*)(floatArray*)") return with(dropArray);
  if (type == "void (*)(complexArray* block)") return with(dropBlock);
  if (type == "void (*)(complexArray* out, complexArray* mic)") return with(dropBlocks);
  if (type == "void (*)(floatArray* frame, double low, double high, int32_t rate)") return with(dropFrame);
  if (type == "void (*)(vtrx* handle, int32_t frequency, int32_t sampleRate)") return with(dropVtrx);
  if (type.rfind("void (*)(int32_t action", 0) == 0) return with(dropRow);
  if (type == "void (*)(agc*)" || type == "void (*)(J16Filter*)") return with(dropObject);
  return false;
}

// Calls a set, reset or verb with some values of its types; false when a type is unknown.
bool call(const prototype& p, asyncObject* h, int round) {
  const auto& a = p.arguments;
  if (a.size() == 1) {
    function<void (*)(asyncObject*)>(p.name)(h);
  } else if (a.size() == 2 && a[1] == "bool") {
    function<void (*)(asyncObject*, bool)>(p.name)(h, round % 2 == 0);
  } else if (a.size() == 2 && a[1] == "int32_t") {
    const int32_t values[] = {1, -1, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min(), 0};
    function<void (*)(asyncObject*, int32_t)>(p.name)(h, values[round % 5]);
  } else if (a.size() == 2 && a[1] == "float") {
    const float values[] = {1.5f, -1.0f, std::numeric_limits<float>::infinity(), std::nanf(""), 0.0f};
    function<void (*)(asyncObject*, float)>(p.name)(h, values[round % 5]);
  } else if (a.size() == 2 && a[1] == "double") {
    const double values[] = {1.5, -1.0, std::numeric_limits<double>::infinity(), std::nan(""), 0.0};
    function<void (*)(asyncObject*, double)>(p.name)(h, values[round % 5]);
  } else if (a.size() == 2 && a[1] == "const char*") {
    const char* values[] = {"text", "", nullptr, "\xFF\x01%s{}", "text"};
    function<void (*)(asyncObject*, const char*)>(p.name)(h, values[round % 5]);
  } else if (a.size() == 3 && a[1] == "const char*" && a[2] == "uint32_t") {
    function<void (*)(asyncObject*, const char*, uint32_t)>(p.name)(h, round % 2 ? "cq cq" : nullptr,
                                                                    static_cast<uint32_t>(round));
  } else if (a.size() == 3 && a[1] == "floatArray*") {
    floatArray* tones = round % 2 ? floatArray_create(79) : nullptr;
    function<void (*)(asyncObject*, floatArray*, uint32_t)>(p.name)(h, tones, 1);
    floatArray_delete(tones);
  } else if (a.size() == 3 && a[1] == "int32_t" && a[2] == "int32_t") {
    function<void (*)(asyncObject*, int32_t, int32_t)>(p.name)(h, -3000 * round, 3000);
  } else if (a.size() == 4 && a[1] == "int32_t" && a[2] == "int32_t") {
    asyncObject* item = create(a[3].substr(0, a[3].size() - 1));
    const int32_t actions[] = {larch_append, larch_put, larch_clear, larch_append, 7};
    function<void (*)(asyncObject*, int32_t, int32_t, asyncObject*)>(p.name)(h, actions[round % 5], round, item);
    asyncObject_release(item);
  } else if (a.size() == 2 && a[1].back() == '*') {
    asyncObject* item = create(a[1].substr(0, a[1].size() - 1));
    function<void (*)(asyncObject*, asyncObject*)>(p.name)(h, item);
    asyncObject_release(item);
  } else {
    return false;
  }
  return true;
}
bool isRelease(const prototype& p) { return p.name == classOf(p) + "_release"; }
bool isBind(const prototype& p) { return p.name.rfind(classOf(p) + "_bind", 0) == 0; }
// An object that has been started for good has no end to wait for.
bool isStart(const prototype& p) { return p.name == "Radio_start"; }

struct classesTest : testing::TestWithParam<std::string> {
  classesTest() { start(); }
};

} // namespace

TEST_P(classesTest, isCreatedAndEndsWithItsRelease) {
  asyncObject* h = create(GetParam());
  const int before = deletions();
  function<void (*)(asyncObject*)>(GetParam() + "_release")(h);
  EXPECT_TRUE(pollUntil([before] { return deletions() == before + 1; }));
}

TEST_P(classesTest, releasesNull) { function<void (*)(asyncObject*)>(GetParam() + "_release")(nullptr); }

TEST_P(classesTest, takesEveryBindAndSet) {
  asyncObject* h = create(GetParam());
  ASSERT_TRUE(settle(h));
  for (int round = 0; round < 5; round++) {
    for (const prototype& p : functionsOf(GetParam())) {
      if (isRelease(p) || isStart(p)) continue;
      EXPECT_TRUE(isBind(p) ? bind(p, h) : call(p, h, round)) << p.text;
    }
    ASSERT_TRUE(settle(h)); // which binds an Echo of its own, as do the rounds
    getRenderUpdates();
  }
  EXPECT_TRUE(releaseAndWait(h));
}

TEST_P(classesTest, eachSetAloneLeavesTheObjectWhole) {
  for (const prototype& p : functionsOf(GetParam())) {
    if (isRelease(p) || isBind(p) || isStart(p) || p.name == "asyncObject_Ping") continue;
    for (int round = 0; round < 5; round++) {
      asyncObject* h = create(GetParam());
      call(p, h, round);
      ASSERT_TRUE(settle(h)) << p.text << " round " << round;
      ASSERT_TRUE(releaseAndWait(h)) << p.text << " round " << round;
    }
  }
}

TEST_P(classesTest, bindsToAHandleThatHoldsNothingDoNothing) {
  // rows between the end of a list and a row put behind it hold nothing
  static asyncObject* nothing;
  nothing = nullptr;
  J16Filter* filter = watched(J16Filter_create());
  J16FilterBands* band = watched(J16FilterBands_create());
  J16Filter_setFilterBands(filter, larch_append, 0, band);
  J16Filter_setFilterBands(filter, larch_put, 2, band);
  ASSERT_TRUE(settle(filter));
  J16Filter_bindFilterBands(filter, [](int32_t, int32_t, J16FilterBands* item) {
    asyncObject_release(nothing);
    nothing = base(item);
  });
  ASSERT_TRUE(settle(filter)); // the last one is row 3
  ASSERT_NE(nothing, nullptr);
  for (const prototype& p : functionsOf(GetParam())) {
    if (isRelease(p)) continue;
    EXPECT_TRUE(isBind(p) ? bind(p, nothing) : call(p, nothing, 0)) << p.text;
  }
  asyncObject_release(nothing);
  EXPECT_TRUE(releaseAndWait(filter));
  EXPECT_TRUE(releaseAndWait(band));
}

INSTANTIATE_TEST_SUITE_P(all, classesTest, testing::ValuesIn(classes()), [](const auto& p) { return p.param; });

TEST(prototypesTest, theListIsTakenApart) {
  EXPECT_EQ(classes().size(), 29u);
  const prototype* p = find("vtrx_bindnewSpectrum");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->result, "void");
  EXPECT_EQ(p->arguments,
            (std::vector<std::string>{"vtrx*", "void (*)(floatArray* frame, double low, double high, int32_t rate)"}));
  p = find("mem_malloc");
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->result, "void*");
  EXPECT_EQ(p->arguments, std::vector<std::string>{"int32_t"});
}
