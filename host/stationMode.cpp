#include "host/stationMode.h"
#include "host/iqRecorder.h"
#include "host/voiceModes.h"
#include <fmt/format.h>

namespace larchhost {
namespace {

constexpr int32_t recordingEdge = 23000; // Hz: what the recorder's filter passes of its 48 kHz
constexpr int32_t narrowing = 100;       // Hz that the speech mode takes off each end of its transmit filter
constexpr int32_t toneEdge = 3000;       // Hz: passes the tone on either side of the carrier
constexpr double toneLevel = 0.5;

proxyModDemod* asProxy(modDemod* mode) { return reinterpret_cast<proxyModDemod*>(mode); }
std::string sideName(sideband side) { return side == sideband::upper ? "USB" : "LSB"; }

} // namespace

signedEdges onSide(filterEdges edges, sideband side) {
  return side == sideband::upper ? signedEdges{edges.low, edges.high} : signedEdges{-edges.high, -edges.low};
}

std::string stationMode::filterText(filterEdges edges) const { return fmt::format("{:>5}..{:<5}", edges.low, edges.high); }

modDemod* speechMode::create() {
  ssbModDemod* mode = ssbModDemod_create();
  ssbModDemod_setcompression(mode, compression_);
  return reinterpret_cast<modDemod*>(mode);
}
signedEdges speechMode::transmitEdges(filterEdges edges, sideband side) const {
  return onSide({edges.low - narrowing, edges.high + narrowing}, side);
}
std::optional<voice> speechMode::spoken(sideband side) const { return side == sideband::upper ? voice::usb : voice::lsb; }
std::string speechMode::name(sideband side) const { return sideName(side); }

modDemod* twoToneMode::create() {
  sigGenModDemod* mode = sigGenModDemod_create();
  sigGenModDemod_setampl1(mode, toneLevel);
  sigGenModDemod_setampl2(mode, toneLevel);
  sigGenModDemod_setfreq2(mode, spacing);
  return reinterpret_cast<modDemod*>(mode);
}
signedEdges twoToneMode::transmitEdges(filterEdges, sideband) const { return {-toneEdge, toneEdge}; }
std::string twoToneMode::name(sideband side) const { return sideName(side) + " two-tone"; }

iqRecorder* recordingMode::only = nullptr;

recordingMode::recordingMode(iqRecorder& recorder) { only = &recorder; }

modDemod* recordingMode::create() {
  proxyModDemod* mode = proxyModDemod_create();
  proxyModDemod_bindrxChunk(mode, [](complexArray* block) { only->offer(block); }); // on a signal thread
  return reinterpret_cast<modDemod*>(mode);
}
void recordingMode::detach(modDemod* mode) {
  proxyModDemod_bindrxChunk(asProxy(mode), [](complexArray* block) { complexArray_delete(block); });
}
signedEdges recordingMode::receiveEdges(filterEdges, sideband) const { return {-recordingEdge, recordingEdge}; }
std::string recordingMode::name(sideband) const { return "IQ"; }

} // namespace larchhost
