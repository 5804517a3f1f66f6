// A transceiver's ear on one input device: its own place in the shared ring, a little behind the writer.
#pragma once
#include "audio/deviceLists.h"

namespace larch {

// Used on the transceiver's group; the destructor, on any thread, leaves the device.
class audioInputRef {
 public:
  audioInputRef() : audioInputRef(nullptr) {}
  explicit audioInputRef(const inputDeviceList* list) : list_(list) {} // null: the machine's
  ~audioInputRef();
  audioInputRef(const audioInputRef&) = delete;
  audioInputRef& operator=(const audioInputRef&) = delete;

  // Moves to list entry `id`, 0 for "None". An id outside the list is logged and changes nothing. May take long.
  void setInput(int32_t id);
  // Fills `out` with 48000 Hz samples, or with zeros where there is no stream; "None" leaves it alone. rt, but where a stream
  // that has ended must be started again.
  void readMicrophone(buff<float> out);

  // Largest magnitude of the device's last callback, 1: full scale; 0 while no stream runs. rt.
  double level() const { return device_ && device_->running() ? static_cast<double>(device_->peak()) : 0.0; }

  int32_t id() const { return id_; }   // -1 before the first setInput
  int32_t lag() const { return lag_; } // samples from the writer at a resynchronisation; negative
  double position() const { return position_; }

 private:
  bool inBounds(int64_t wanted, int16_t diff, int64_t elapsed_ns) const;

  const inputDeviceList* list_;
  audioInputDevice* device_ = nullptr;
  int32_t id_ = -1;
  bool resynced_ = false;
  double position_ = 0; // in samples of the ring
  int64_t lastRead_ns_ = 0;
  int32_t lag_ = -2048;
  int32_t reads_ = 0; // wraps after 100
};

} // namespace larch
