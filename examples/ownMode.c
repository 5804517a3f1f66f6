/* A host with a mode of its own: a two-tone text link, received and, when it is asked to, transmitted.
 *
 *   cc -std=c11 ownMode.c -o ownMode $(pkg-config --cflags --libs larchlib) -lm
 *   ./ownMode 192.168.1.20 7100000 30                                   prints what it reads for 30 s
 *   ./ownMode 192.168.1.20 7100000 30 --transmit 100 "CQ DE Q1ABC"      sends that first, at drive 100 of 255
 *
 * The mode has 50 bits a second. 1 is a tone 1000 Hz above the tuned frequency, 0 one 1200 Hz above it. A byte goes as on a
 * serial line: a start bit 0, eight bits with the lowest first, a stop bit 1. Between bytes stands 1.
 *
 * proxyModDemod hands the host the samples of both directions by two callbacks. They are the only ones that don't come from
 * getUpdates: they run on a thread of the library, inside the signal chain, and the transceiver waits for them. So they copy
 * and return at once, and what takes time is done in main's loop. receive.c shows the rest of a host more slowly.
 *
 * A transmitter needs its operator's licence, and a dummy load for the first try. A Hermes-Lite 2 stays at milliwatts until a
 * host also sets its TypeID (6) and enablePA.
 */
#define _POSIX_C_SOURCE 200809L
#include <complex.h>
#include <larchlib.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum {
  RATE = 48000,        /* samples a second, both ways */
  BLOCK = 512,         /* samples of a block */
  BIT = RATE / 50,     /* samples of a bit */
  SLICE = 64,          /* the receiver looks at the signal so often: 8 times a block, */
  LOOKS = BIT / SLICE, /* 15 times a bit */
  SLOTS = 256,         /* of the ring: 2.7 s */
  LEAD = 10,           /* bits 1 in front: the chain begins with 768 samples of silence and a rise of 512 */
  TRAIL = 5,           /* and behind: the transmit filter holds back up to 1535 samples, and a block may wait */
  LOW = 700,           /* the channel, Hz above the tuned frequency: */
  HIGH = 1500,         /* both tones with room for their keying */
  HOLD = 50 * 126      /* samples of the 50 datagrams after a transmission */
};
static const double LEVEL = 0.8; /* full scale is 1; the filter makes peaks that are somewhat higher */
static const double CLEAR = 0.3; /* of -1 to 1: a bit that is less certain isn't believed */

/* One bit of each tone. Both have a whole number of turns in a bit, 24 and 20: bits join without a jump of phase. */
static double complex tone[2][BIT];

static void makeTones(void) {
  static const double turns[2] = {1200.0 / 50, 1000.0 / 50};
  int t, i;
  for (t = 0; t < 2; t++)
    for (i = 0; i < BIT; i++) tone[t][i] = cexp(I * 2 * 3.14159265358979 * turns[t] * i / BIT);
}

/* ---- Receiving: from the signal thread to the main loop ----------------------------------------------------------------
   A ring with one writer and one reader. Each side stores its own index and reads the other's; release and acquire make what
   was written before the one visible after the other. Neither side ever waits. */
static double complex ring[SLOTS][BLOCK];
static atomic_uint ringIn, ringOut, lostBlocks;

/* On a signal thread. The object is ours to delete; its samples are not: the filter puts its next block into the same place,
   so they must be copied before this returns. */
static void onRxChunk(complexArray* block) {
  const unsigned in = atomic_load_explicit(&ringIn, memory_order_relaxed);
  const double complex* from = (const double complex*)complexArray_data(block); /* pairs of doubles */
  int i;
  if (in - atomic_load_explicit(&ringOut, memory_order_acquire) < SLOTS) {
    /* The library's baseband is the mirror of the band: a signal above the tuned frequency turns clockwise. The conjugate
       turns the usual way. */
    for (i = 0; i < BLOCK; i++) ring[in % SLOTS][i] = conj(from[i]);
    atomic_store_explicit(&ringIn, in + 1, memory_order_release);
  } else {
    atomic_fetch_add_explicit(&lostBlocks, 1, memory_order_relaxed); /* the main loop hangs: lose a block, never wait */
  }
  complexArray_delete(block);
}

/* ---- The demodulator, in the main loop ---------------------------------------------------------------------------------- */
static double complex match[2][LOOKS]; /* of the last 15 slices: how much of each tone */
static double energy[LOOKS];           /* and how much of anything */
static int slice;                      /* the next one's place */

/* How surely the last 20 ms were one bit: 1 is a clean tone 1, -1 a clean tone 0; noise and bits' borders lie near 0. */
static double look(const double complex* z) {
  double complex sum[2] = {0, 0};
  double all = 0, power[2];
  int t, i;
  match[0][slice] = match[1][slice] = energy[slice] = 0;
  for (i = 0; i < SLICE; i++) {
    for (t = 0; t < 2; t++) match[t][slice] += z[i] * conj(tone[t][slice * SLICE + i]);
    energy[slice] += creal(z[i]) * creal(z[i]) + cimag(z[i]) * cimag(z[i]);
  }
  slice = (slice + 1) % LOOKS;
  for (i = 0; i < LOOKS; i++) {
    for (t = 0; t < 2; t++) sum[t] += match[t][i];
    all += energy[i];
  }
  for (t = 0; t < 2; t++) power[t] = creal(sum[t]) * creal(sum[t]) + cimag(sum[t]) * cimag(sum[t]);
  return all > 0 ? (power[1] - power[0]) / (BIT * all) : 0;
}

/* Start bit, eight bits, stop bit; called with each look. */
static void follow(double level) {
  static int bit = -1, looksLeft, byte; /* -1: between bytes */
  if (bit < 0) {
    if (level >= 0) return;
    bit = byte = 0; /* half of the last 20 ms are a start bit: in half a bit's time it fills them */
    looksLeft = LOOKS / 2;
    return;
  }
  if (--looksLeft > 0) return;
  looksLeft = LOOKS;
  if ((bit == 0 && level > -CLEAR) || (bit == 9 && level < CLEAR) || (level > -CLEAR && level < CLEAR)) {
    bit = -1; /* noise */
    return;
  }
  if (bit >= 1 && bit <= 8 && level > 0) byte |= 1 << (bit - 1);
  if (++bit <= 9) return;
  bit = -1;
  putchar((byte >= ' ' && byte < 127) || byte == '\n' ? byte : '.'); /* nobody on the air controls this terminal */
  fflush(stdout);
}

/* ---- Transmitting -------------------------------------------------------------------------------------------------------- */
static const char* text; /* fixed before the key goes down, so that the signal thread may read it */
static size_t length;
static atomic_bool said; /* the text and what goes around it have been made */

static int nextBit(void) {
  static size_t made;
  const size_t lead = LEAD, at = made++, byte = at < lead ? 0 : (at - lead) / 10, part = (at - lead) % 10;
  if (at >= lead + 10 * length + TRAIL) atomic_store(&said, true);
  if (at < lead || byte >= length || part == 9) return 1;
  return part == 0 ? 0 : (unsigned char)text[byte] >> (part - 1) & 1;
}

/* On a signal thread. out is the transmitter's own block, cleared: write all of it now. mic is what the microphone heard. Both
   objects are ours to delete. */
static void onGetTxChunk(complexArray* out, complexArray* mic) {
  static int bit, position = BIT;
  double complex* to = (double complex*)complexArray_data(out);
  const int32_t n = complexArray_size(out);
  int32_t i;
  for (i = 0; i < n; i++) {
    if (position == BIT) {
      bit = nextBit();
      position = 0;
    }
    to[i] = LEVEL * conj(tone[bit][position++]); /* the mirror again: above the tuned frequency is clockwise */
  }
  complexArray_delete(out);
  complexArray_delete(mic);
}

/* ---- The host ------------------------------------------------------------------------------------------------------------ */
static vtrx* transceiver;
static proxyModDemod* mode;
static bool keyed;       /* what the radio says */
static long blocksRead;  /* each is 10.67 ms of the radio's time */
static int pollsWithout; /* a block */
static int deleted;
static volatile sig_atomic_t interrupted;

static void onInterrupt(int number) { interrupted = number; }
static void onDeleted(int32_t one) { deleted += one; }
static void onPtt(bool on) { keyed = on; }
static void onSpectrum(floatArray* frame, double low, double high, int32_t rate) {
  (void)low, (void)high, (void)rate;
  floatArray_delete(frame);
}
static void onAgc(agc* gain) {
  asyncObject_bindDeleted((asyncObject*)gain, onDeleted);
  agc_release(gain);
}

static void onVtrxAdded(vtrx* handle, int32_t frequency, int32_t sampleRate) {
  (void)frequency, (void)sampleRate;
  transceiver = handle;
  asyncObject_bindDeleted((asyncObject*)handle, onDeleted);
  vtrx_bindrxagc(handle, onAgc);
  vtrx_bindtxagc(handle, onAgc);
  vtrx_bindnewSpectrum(handle, onSpectrum);
  mode = proxyModDemod_create();
  asyncObject_bindDeleted((asyncObject*)mode, onDeleted);
  proxyModDemod_bindrxChunk(mode, onRxChunk);
  proxyModDemod_bindgetTxChunk(mode, onGetTxChunk);
  vtrx_setModulation(handle, (modDemod*)mode);
  vtrx_setRxFilter(handle, LOW, HIGH); /* rxChunk gets what is behind this filter, */
  vtrx_setTxFilter(handle, LOW, HIGH); /* and what getTxChunk writes goes through this one */
  vtrx_setmuted(handle, true);         /* needs neither loudspeaker nor microphone */
  vtrx_start(handle);
}

/* One round of the loop: callbacks, whatever has been received, 5 ms. */
static void step(void) {
  const struct timespec t = {0, 5000000};
  unsigned out = atomic_load_explicit(&ringOut, memory_order_relaxed);
  int i;
  getUpdates();
  getRenderUpdates();
  pollsWithout++;
  while (out != atomic_load_explicit(&ringIn, memory_order_acquire)) {
    for (i = 0; i < BLOCK; i += SLICE) follow(look(ring[out % SLOTS] + i));
    atomic_store_explicit(&ringOut, ++out, memory_order_release);
    blocksRead++;
    pollsWithout = 0;
  }
  nanosleep(&t, NULL);
}

static bool radioAnswers(void) { return pollsWithout < 1000; }

static void transmit(int drive) {
  long end;
  vtrx_setdrive(transceiver, drive);
  vtrx_setptt(transceiver, true);
  while (!keyed && radioAnswers()) step();
  while (!atomic_load(&said) && !interrupted && radioAnswers()) step();
  vtrx_setptt(transceiver, false); /* now the carrier falls and the radio's queue runs empty; then ptt reports false */
  while (keyed && radioAnswers()) step();
  for (end = blocksRead + HOLD / BLOCK + 1; blocksRead < end && radioAnswers();) step(); /* until its relays are back */
  fprintf(stderr, "sent\n");
}

int main(int argc, char** argv) {
  HpsdrRadio* radio;
  long blocks;
  int i;
  if (argc < 4 || (argc > 4 && (argc != 7 || strcmp(argv[4], "--transmit") != 0))) {
    fprintf(stderr, "usage: ownMode ADDRESS FREQUENCY SECONDS [--transmit DRIVE TEXT]\n");
    return 2;
  }
  blocks = (long)atoi(argv[3]) * RATE / BLOCK;
  makeTones();
  signal(SIGINT, onInterrupt); /* Ctrl-C unkeys, too */
  init("ownMode.log", 0);

  radio = HpsdrRadio_create();
  asyncObject_bindDeleted((asyncObject*)radio, onDeleted);
  HpsdrRadio_setipAddress(radio, argv[1]);
  HpsdrRadio_setclockFrequency(radio, 76800000); /* a Hermes-Lite 2; see radios.md for others */
  HpsdrRadio_setHLiteGain(radio, false);
  HpsdrRadio_setHLite2Gain(radio, true);
  Radio_bindptt((Radio*)radio, onPtt);
  Radio_bindvtrxAdded((Radio*)radio, onVtrxAdded);
  Radio_addVtrx((Radio*)radio, atoi(argv[2]), 0);
  Radio_start((Radio*)radio);

  while (blocksRead == 0 && !interrupted && radioAnswers()) step();
  if (argc == 7 && blocksRead > 0 && !interrupted) {
    text = argv[6];
    length = strlen(text);
    transmit(atoi(argv[5]));
  }
  while (blocksRead < blocks && !interrupted && radioAnswers()) step();
  fprintf(stderr, "%ld blocks read, %u lost\n", blocksRead, atomic_load(&lostBlocks));

  Radio_stop((Radio*)radio);
  if (transceiver) {
    vtrx_remove(transceiver);
    vtrx_release(transceiver);
    proxyModDemod_release(mode); /* a last onRxChunk may still come: what it uses lives as long as the program */
  }
  HpsdrRadio_release(radio);
  for (i = 0; i < 400 && deleted < 4; i++) step(); /* transceiver, two agc, mode */
  fprintf(stderr, "%d objects ended\n", deleted);
  return radioAnswers() && blocksRead > 0 ? 0 : 1;
}
