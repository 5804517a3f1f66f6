#include "platform/soundStream.h"
#include "platform/soundSystem.h"
#include "platform/threadClass.h"
#include <portaudio.h>

namespace larch {

struct soundStream::trampoline {
  static int callback(const void* in, void* out, unsigned long frames, const PaStreamCallbackTimeInfo* time,
                      PaStreamCallbackFlags, void* user) {
    auto& stream = *static_cast<soundStream*>(user);
    if (!stream.raised_) {
      stream.raised_ = true;
      raiseThread(callbackPriority); // a refusal changes nothing but how late a callback may be
    }
    const soundStreamRequest& r = stream.request_;
    const bool isInput = r.way == soundStreamRequest::input;
    float* samples = static_cast<float*>(isInput ? const_cast<void*>(in) : out);
    const double dac = isInput || !time ? 0.0 : time->outputBufferDacTime;
    return r.callback(r.user, samples, frames, dac) ? paContinue : paAbort;
  }
  static void finished(void* user) {
    const soundStreamRequest& r = static_cast<soundStream*>(user)->request_;
    r.finished(r.user);
  }
};

soundStream::result soundStream::open(const soundStreamRequest& request) {
  soundSystemAccess access;
  close();
  request_ = request;
  raised_ = false;
  result r;
  const PaDeviceInfo* info = Pa_GetDeviceInfo(request.device);
  if (!info) {
    r.open = paInvalidDevice;
    return r;
  }
  const bool isInput = request.way == soundStreamRequest::input;
  PaStreamParameters p{};
  p.device = request.device;
  p.channelCount = request.channels;
  p.sampleFormat = paFloat32;
  p.suggestedLatency = request.latency_s >= 0 ? request.latency_s
                       : isInput              ? info->defaultLowInputLatency
                                              : info->defaultLowOutputLatency;
  r.open = Pa_OpenStream(&stream_, isInput ? &p : nullptr, isInput ? nullptr : &p, request.rate, request.framesPerBuffer,
                         paNoFlag, trampoline::callback, this);
  if (r.open != paNoError) {
    stream_ = nullptr;
    return r;
  }
  if (request.finished) r.finishedCallback = Pa_SetStreamFinishedCallback(stream_, trampoline::finished);
  r.start = Pa_StartStream(stream_);
  if (r.start != paNoError) {
    Pa_CloseStream(stream_);
    stream_ = nullptr;
  }
  return r;
}

void soundStream::close() {
  if (!stream_) return;
  soundSystemAccess access;
  Pa_StopStream(stream_);
  Pa_CloseStream(stream_);
  stream_ = nullptr;
}

const char* soundStream::errorText(int error) { return Pa_GetErrorText(error); }

} // namespace larch
