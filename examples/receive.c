/* A complete host: receives upper sideband from a radio for some seconds and prints what it hears of it.
 *
 *   cc -std=c99 receive.c -o receive $(pkg-config --cflags --libs larchlib)
 *   ./receive 192.168.1.20 7100000 10
 */
#define _POSIX_C_SOURCE 200809L
#include <larchlib.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static vtrx* transceiver; /* callbacks carry no context: a host keeps its own */
static ssbModDemod* mode;
static long frames;
static float strongest;
static double strongestFrequency;
static int deleted;

static void pause_ms(long ms) {
  struct timespec t = {ms / 1000, ms % 1000 * 1000000};
  nanosleep(&t, NULL);
}

static void onDeleted(int32_t one) { deleted += one; }

static void onAgc(agc* gain) { /* the handle is ours: bind Deleted, then give it back */
  asyncObject_bindDeleted((asyncObject*)gain, onDeleted);
  agc_release(gain);
}

static void onSignal(double level) { printf("signal %.1f dB\n", level); }

static void onSpectrum(floatArray* frame, double low, double high, int32_t rate) {
  const float* points = floatArray_data(frame);
  int32_t i, n = floatArray_size(frame);
  (void)rate;
  frames++;
  strongest = -100;
  for (i = 0; i < n; i++)
    if (points[i] > strongest) {
      strongest = points[i];
      strongestFrequency = low + (i + 1) * (high - low) / n; /* a point shows what lies one step above */
    }
  floatArray_delete(frame); /* the frame is ours, too */
}

static void onVtrxAdded(vtrx* handle, int32_t frequency, int32_t sampleRate) {
  printf("transceiver at %d Hz, %d samples/s\n", (int)frequency, (int)sampleRate);
  transceiver = handle;
  asyncObject_bindDeleted((asyncObject*)handle, onDeleted);
  vtrx_bindrxagc(handle, onAgc);
  vtrx_bindtxagc(handle, onAgc);
  vtrx_bindsignalStrength(handle, onSignal);
  vtrx_bindnewSpectrum(handle, onSpectrum);
  mode = ssbModDemod_create();
  asyncObject_bindDeleted((asyncObject*)mode, onDeleted);
  vtrx_setModulation(handle, (modDemod*)mode);
  vtrx_setRxFilter(handle, 200, 2900); /* upper sideband; -2900, -200 is the lower one */
  vtrx_setforegroundDisplay(handle, true);
  vtrx_start(handle); /* opens the default sound output */
}

int main(int argc, char** argv) {
  HpsdrRadio* radio;
  int i, polls;
  if (argc < 3) {
    fprintf(stderr, "usage: receive ADDRESS FREQUENCY [SECONDS]\n");
    return 2;
  }
  polls = (argc > 3 ? atoi(argv[3]) : 10) * 200;
  init("receive.log", 0);

  radio = HpsdrRadio_create();
  asyncObject_bindDeleted((asyncObject*)radio, onDeleted);
  HpsdrRadio_setipAddress(radio, argv[1]);
  HpsdrRadio_setclockFrequency(radio, 76800000); /* a Hermes-Lite 2; see radios.md for others */
  HpsdrRadio_setHLiteGain(radio, false);
  HpsdrRadio_setHLite2Gain(radio, true);
  Radio_setmaxHwReceivers((Radio*)radio, 4);
  Radio_setSampleRate((Radio*)radio, 192000);
  Radio_bindvtrxAdded((Radio*)radio, onVtrxAdded);
  Radio_addVtrx((Radio*)radio, atoi(argv[2]), 0);
  Radio_start((Radio*)radio);

  for (i = 0; i < polls; i++) { /* 5 ms and the work of the callbacks */
    getUpdates();
    getRenderUpdates();
    pause_ms(5);
  }
  printf("%ld spectrum frames; strongest %.1f dB at %.0f Hz\n", frames, 10 * strongest, strongestFrequency);

  Radio_stop((Radio*)radio);
  if (transceiver) {
    vtrx_remove(transceiver);
    vtrx_release(transceiver);
    ssbModDemod_release(mode);
  }
  HpsdrRadio_release(radio); /* its receive thread keeps it; the process may end at any time */
  for (i = 0; i < 100 && deleted < 4; i++) { /* transceiver, two agc, mode */
    getUpdates();
    getRenderUpdates();
    pause_ms(5);
  }
  printf("%d objects ended\n", deleted);
  return frames > 0 ? 0 : 1;
}
