// What a transceiver of the station works in: makes the library's mode object and says which edges its filters get.
#pragma once
#include "runtime/larchlib.h"
#include <cstdint>
#include <optional>
#include <string>

namespace larchhost {

class iqRecorder;

enum class sideband { upper, lower };
enum class voice; // voiceModes.h

struct filterEdges {
  int32_t low = 200, high = 2900; // Hz from the carrier, both above 0; the sideband gives them their sign
};
struct signedEdges {
  int32_t low, high; // Hz from the tuned frequency
};

signedEdges onSide(filterEdges edges, sideband side);

// One object serves one transceiver. On the polling thread.
class stationMode {
 public:
  virtual ~stationMode() = default;
  // A new handle with all its settings, which the station binds Deleted on, attaches and releases. All mode handles have one
  // form.
  virtual modDemod* create() = 0;
  virtual void detach(modDemod*) {} // before the release: unbind what was bound
  virtual signedEdges receiveEdges(filterEdges edges, sideband side) const { return onSide(edges, side); }
  virtual signedEdges transmitEdges(filterEdges edges, sideband side) const { return onSide(edges, side); }
  virtual std::string name(sideband side) const = 0; // as shown
  virtual std::string filterText(filterEdges edges) const;
  virtual int32_t rate() const { return 48000; }                     // Hz, of the channel: the radio's must be no less
  virtual int32_t widestFilter() const { return 20000; }             // Hz, of filterEdges::high as a person's keys move it
  virtual std::optional<voice> spoken(sideband) const { return {}; } // which of the modes it is that a person can change to
};

// Single sideband. What is spoken passes within the transmit edges: the mode takes 100 Hz off each end.
class speechMode : public stationMode {
 public:
  explicit speechMode(double compression = 1) : compression_(compression) {}
  modDemod* create() override;
  signedEdges transmitEdges(filterEdges edges, sideband side) const override;
  std::optional<voice> spoken(sideband side) const override;
  std::string name(sideband side) const override;

 private:
  const double compression_; // drive into the clipper
};

// Receives as speechMode; sends the carrier and a tone beside it, each at half of full scale.
class twoToneMode : public stationMode {
 public:
  static constexpr double spacing = 1200; // Hz
  modDemod* create() override;
  signedEdges transmitEdges(filterEdges edges, sideband side) const override;
  std::string name(sideband side) const override;
};

// Silent: feeds the recorder, which must outlive it. One a process, since the library's callbacks carry no context.
class recordingMode : public stationMode {
 public:
  explicit recordingMode(iqRecorder& recorder);
  modDemod* create() override;
  void detach(modDemod* mode) override;
  signedEdges receiveEdges(filterEdges edges, sideband side) const override;
  std::string name(sideband side) const override;

 private:
  static iqRecorder* only;
};

} // namespace larchhost
