// The real coders, simulators and decoders of the timed-slot modes, which the Debian package wsjtx has.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace larch::test {

// Empty when the programs are there; else what a person should do.
std::string missingDecoders();

// A folder of its own in which the programs run, since they leave files behind; removed with all that is in it.
class decoderFolder {
 public:
  decoderFolder(); // throws std::runtime_error
  ~decoderFolder();
  decoderFolder(const decoderFolder&) = delete;
  decoderFolder& operator=(const decoderFolder&) = delete;

  std::string path(const std::string& name) const { return folder_ + name; }
  // What a shell command prints. Throws std::runtime_error when it fails.
  std::string run(const std::string& command) const;
  // The SNR in dB with which the decoder's output tells of the message.
  static std::optional<int> snrOf(const std::string& printed, const std::string& message);

  // The one file of FT8 with this message at 1500 Hz that the simulator makes.
  std::string makeFt8(const std::string& message, double snr_dB, const std::string& name) const;
  // The tones of a coder's output: numbers of one digit behind its heading, up to an empty line.
  static std::vector<float> tonesOf(const std::string& printed);

 private:
  std::string folder_; // with its separator
};

} // namespace larch::test
