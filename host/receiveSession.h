// Reception as a person meets it: the station, its files, the picture in the terminal or a line each second, in one poll loop.
#pragma once
#include "host/commands.h"
#include "host/iqRecorder.h"
#include "host/screen.h"
#include "host/station.h"
#include "host/terminal.h"
#include "host/waterfallPicture.h"
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace larchhost {

// A command that transmits derives from it. It ends by `quit`, by a signal, after options.seconds, and with the terminal; each
// way by way of the station's orderly end.
class receiveSession {
 public:
  receiveSession(const listenOptions& options, const stationSettings& settings, const receiver& first, std::string audioName);
  virtual ~receiveSession() = default;
  receiveSession(const receiveSession&) = delete;
  receiveSession& operator=(const receiveSession&) = delete;

  int run(); // the program's exit status

 protected:
  using clock = std::chrono::steady_clock;

  virtual void polled() {}                                         // after each poll
  virtual bool press(const keyPress&) { return false; }            // before the receiver's own keys: true when it was for us
  virtual std::vector<std::string> statusLines(int columns) const; // further lines of the picture
  virtual std::string statusText() const { return {}; }            // more for the line each second
  virtual std::string keysText() const;
  virtual bool saysLines() const { return true; }                   // a line each second without a terminal
  virtual std::chrono::milliseconds pause() const;                  // between two polls
  virtual bool offers(voice v) const;                               // to the key that changes the mode
  virtual void ended() {}                                           // the picture has gone, the summary comes
  virtual std::string saveWaterfall(const std::string& path) const; // what is in the file; empty: there is none

  station& radio() { return station_; }
  const station& radio() const { return station_; }
  receiver& first() { return *shown_.front(); }
  const receiver& first() const { return *shown_.front(); }
  bool running() const { return station_.framesSeen() > 0; } // the radio's stream has come
  bool missing() const;                                      // the stream hasn't come for so long that a script gives up
  bool picture() const { return terminal_ != nullptr; }
  bool unicode() const { return unicode_; }
  int rows() const { return terminal_ ? terminal_->rows() : 0; } // of the terminal
  // Level in dBm of the strongest point within `width` Hz around a frequency of the band shown; noData_dBm outside of it.
  double levelAt(double frequency, double width) const;
  double noiseLevel() const { return quantile(levels_, 0.5); } // noData_dBm before the first picture
  void quit() { quit_ = true; }

 private:
  bool timeIsUp() const;
  void watchFrames();
  void readKeys();
  void takeLevels();
  void showPicture();
  void showLine() const;
  void pressReceiver(const keyPress& k);
  void tune(receiver& r, int32_t frequency);
  void changeVoice(receiver& r);
  filterEdges filterFor(voice v) const;
  void changeStep(int by);
  void zoomTo(double zoom);
  int finish();

  const listenOptions& options_;
  std::unique_ptr<iqRecorder> recorder_; // outlives the station, whose signal thread feeds it
  const bool unicode_;
  screen view_;
  std::unique_ptr<terminal> terminal_;
  station station_;
  std::vector<receiver*> shown_;
  receiver* recording_ = nullptr;
  const voice firstVoice_; // of the first receiver, as it was chosen
  const filterEdges firstFilter_;
  size_t selected_ = 0;
  int32_t step_;
  double zoom_;
  bool quit_ = false, warned_ = false;
  std::string audioName_, message_;
  clock::time_point started_, lastFrame_;
  uint64_t framesBefore_ = 0;
  std::vector<double> levels_;
  double low_ = 0, high_ = 0;
  waterfallPicture picture_;
};

} // namespace larchhost
