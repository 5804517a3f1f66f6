#include <complex>
#include <random>
#include <gtest/gtest.h>
#include "sim/problemLog.h"
#include "sim/protocol1Codec.h"
#include "tests/support/protocol1Vectors.h"

using namespace larch::sim;
namespace vectors = larch::vectors;

namespace {
// packs the hand-written samples of one frame and gives the whole frame
template <size_t count>
std::array<uint8_t, 512> packed(const vectors::iqSample (&list)[count], size_t frame, int receivers, const boardStatus& status,
                                int group) {
  std::vector<std::vector<std::complex<double>>> rx(static_cast<size_t>(receivers));
  std::vector<const std::complex<double>*> from;
  for (auto& r : rx) r.resize(p1SamplesPerFrame(receivers));
  for (const vectors::iqSample& s : list)
    if (s.frame == frame) rx[static_cast<size_t>(s.receiver)][s.sample] = {s.i / 8388607.0, s.q / 8388607.0};
  for (auto& r : rx) from.push_back(r.data());
  std::array<uint8_t, 512> out;
  out.fill(0xAA);
  p1PackFrame(out.data(), 0x7F, p1Status(status, group), from.data(), receivers);
  return out;
}

template <size_t length> std::array<uint8_t, 512> frameOf(const std::array<uint8_t, length>& d, size_t frame) {
  std::array<uint8_t, 512> f;
  std::copy_n(d.begin() + 8 + static_cast<std::ptrdiff_t>(512 * frame), 512, f.begin());
  return f;
}
} // namespace

TEST(protocol1CodecTest, framesHoldTheSamplesOfTheReceiverCount) {
  const std::pair<int, size_t> known[] = {{1, 63}, {2, 36}, {3, 25}, {4, 19}, {5, 15}, {6, 13}, {7, 11}, {8, 10}};
  for (const auto& [receivers, samples] : known) EXPECT_EQ(p1SamplesPerFrame(receivers), samples) << receivers;
}

TEST(protocol1CodecTest, packsOneReceiverAsWrittenByHand) {
  boardStatus status;
  status.adcOverload = true;
  status.firmware = 72;
  status.ain = {100, 0, 0, 0, 1005, 0};
  const auto wanted = vectors::iqOneReceiver();
  EXPECT_EQ(packed(vectors::iqOneReceiverSamples, 0, 1, status, 0), frameOf(wanted, 0));
  EXPECT_EQ(packed(vectors::iqOneReceiverSamples, 1, 1, status, 1), frameOf(wanted, 1));
  std::array<uint8_t, 8> head;
  p1WriteHeader(head.data(), p1EndpointIq, 0x102);
  EXPECT_TRUE(std::equal(head.begin(), head.end(), wanted.begin()));
}

TEST(protocol1CodecTest, packsTwoReceiversAsWrittenByHand) {
  boardStatus status;
  status.ptt = status.key = true;
  status.ain = {0, 258, 772, 1286, 0, 1800};
  const auto wanted = vectors::iqTwoReceivers();
  EXPECT_EQ(packed(vectors::iqTwoReceiversSamples, 0, 2, status, 2), frameOf(wanted, 0));
  EXPECT_EQ(packed(vectors::iqTwoReceiversSamples, 1, 2, status, 3), frameOf(wanted, 1));
  std::array<uint8_t, 8> head;
  p1WriteHeader(head.data(), p1EndpointIq, 0xFFFFFFFF);
  EXPECT_TRUE(std::equal(head.begin(), head.end(), wanted.begin()));
}

TEST(protocol1CodecTest, packsWidebandAsWrittenByHand) {
  std::array<int16_t, 512> samples{};
  for (const auto& s : vectors::widebandSamples) samples[s.sample] = s.value;
  std::array<uint8_t, 1032> out;
  p1PackWideband(out.data(), 7, samples.data());
  EXPECT_EQ(out, vectors::wideband());
}

TEST(protocol1CodecTest, clipsBeyondFullScaleAndCountsIt) {
  std::vector<std::complex<double>> rx(63);
  rx[0] = {1.5, -1.5};
  rx[1] = {1.0, -1.0};
  rx[2] = {std::nan(""), 0};
  const std::complex<double>* from = rx.data();
  std::array<uint8_t, 512> out;
  EXPECT_EQ(p1PackFrame(out.data(), 0x7F, {}, &from, 1), 3u);
  EXPECT_EQ(out[8], 0x7F);
  EXPECT_EQ(out[11], 0x80);
  EXPECT_EQ(out[16], 0x7F);
}

TEST(protocol1CodecTest, hiddenStatusSetsTheTopBit) {
  boardStatus status;
  status.hidden = true;
  for (int group = 0; group < p1StatusGroups; ++group) EXPECT_EQ(p1Status(status, group)[0] & 0x80, 0x80);
}

TEST(protocol1CodecTest, readsTheHandWrittenControlDatagram) {
  hostDatagram d;
  p1ReadHostDatagram(vectors::control(), d);
  ASSERT_EQ(d.kind, hostDatagramKind::data);
  EXPECT_EQ(d.problem, -1);
  EXPECT_EQ(d.sequence, 5u);
  EXPECT_TRUE(d.frame[0].syncOk && d.frame[1].syncOk);
  EXPECT_FALSE(d.frame[0].mox());
  EXPECT_EQ(d.frame[0].address(), 0);
  EXPECT_EQ(d.frame[1].address(), 2);
  EXPECT_EQ(d.frame[0].samples[0], (txSample{0, 0, 4660, -292}));
  EXPECT_EQ(d.frame[0].samples[62], (txSample{0, 0, 1, -1}));
  EXPECT_EQ(d.frame[1].samples[0], (txSample{0x0102, 0x0304, 32766, -32766}));
  EXPECT_EQ(d.frame[1].samples[1], txSample{});
}

TEST(protocol1CodecTest, readsStartStopAndDiscovery) {
  hostDatagram d;
  p1ReadHostDatagram(vectors::startBoth(), d);
  EXPECT_EQ(d.kind, hostDatagramKind::startStop);
  EXPECT_EQ(d.startBits, 3);
  EXPECT_EQ(d.problem, -1);
  p1ReadHostDatagram(vectors::stop(), d);
  EXPECT_EQ(d.kind, hostDatagramKind::startStop);
  EXPECT_EQ(d.startBits, 0);
  p1ReadHostDatagram(vectors::discovery(), d);
  EXPECT_EQ(d.kind, hostDatagramKind::discovery);
}

TEST(protocol1CodecTest, knowsTheDiscoveryOfTheOtherProtocolByAllItsBytes) {
  std::vector<uint8_t> request(60);
  request[4] = 2;
  hostDatagram d;
  p1ReadHostDatagram(request, d);
  EXPECT_EQ(d.kind, hostDatagramKind::otherDiscovery);
  EXPECT_EQ(d.problem, -1);
  for (size_t i = 0; i < request.size(); ++i) {
    std::vector<uint8_t> other = request;
    ++other[i];
    p1ReadHostDatagram(other, d);
    EXPECT_EQ(d.kind, hostDatagramKind::bad) << i;
    EXPECT_EQ(d.problem, static_cast<int>(problem::wrongMagic)) << i;
  }
  for (const size_t length : {5u, 59u, 61u, 63u}) {
    std::vector<uint8_t> other = request;
    other.resize(length);
    p1ReadHostDatagram(other, d);
    EXPECT_EQ(d.problem, static_cast<int>(problem::wrongMagic)) << length;
  }
}

TEST(protocol1CodecTest, namesWhatIsWrongWithADatagram) {
  const auto check = [](std::vector<uint8_t> bytes, hostDatagramKind kind, problem why) {
    hostDatagram d;
    p1ReadHostDatagram(bytes, d);
    EXPECT_EQ(d.kind, kind);
    EXPECT_EQ(d.problem, static_cast<int>(why)) << problemName(why);
  };
  check({}, hostDatagramKind::bad, problem::wrongLength);
  check({0xEF, 0xFE, 1}, hostDatagramKind::bad, problem::wrongLength);
  std::vector<uint8_t> data(1032);
  check(data, hostDatagramKind::bad, problem::wrongMagic);
  data[0] = 0xEF, data[1] = 0xFE, data[2] = 9;
  check(data, hostDatagramKind::bad, problem::unknownCommand);
  data[2] = 1, data[3] = 6;
  check(data, hostDatagramKind::bad, problem::wrongEndpoint);
  data[3] = 2;
  data.push_back(0);
  check(data, hostDatagramKind::bad, problem::wrongLength);
  check({0xEF, 0xFE, 4, 3}, hostDatagramKind::startStop, problem::wrongLength);
  check({0xEF, 0xFE, 2, 0}, hostDatagramKind::bad, problem::wrongLength);
}

TEST(protocol1CodecTest, readsAnyLengthAndContent) {
  std::mt19937 random(4711);
  hostDatagram d;
  for (size_t length = 0; length <= 2000; ++length) {
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[length == 0 ? 1 : length]); // the sanitizer sees the first byte behind
    for (size_t i = 0; i < length; ++i) exact[i] = static_cast<uint8_t>(random());
    p1ReadHostDatagram({exact.get(), length}, d);
    if (length >= 4) {
      exact[0] = 0xEF, exact[1] = 0xFE;
      for (uint8_t command = 0; command < 6; ++command) {
        exact[2] = command, exact[3] = 2;
        p1ReadHostDatagram({exact.get(), length}, d);
        EXPECT_EQ(d.kind == hostDatagramKind::data, command == 1 && length == 1032) << length;
      }
    }
  }
}
