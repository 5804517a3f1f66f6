/* larchlib: the signal and radio core of an amateur software-defined-radio station. Plain C99.

   Start        init() is the first call, once. It throws a C++ exception when the log file can't be opened or no thread can
                be had; it is the only function here that lets one out. There is no counterpart: workers, radios and sockets
                live until the process ends, and it may end at any moment.
   Handles      An object is held by a handle, opaque and never null: X_create makes one, and so does each callback that
                hands one over. Whoever got it gives it back once with X_release; a null handle is ignored there and nowhere
                else. Several handles to one object are possible, so an address says nothing about identity. The object lives
                on while the core uses it. A handle from a row that was never set holds no object: each call on it does
                nothing, and it is released like any other.
   Properties   X_bindY registers a callback, X_setY asks for a new value. There are no getters: a value comes by callback,
                at bind if the core has written one, and later whenever the core changes it. The host's own sets aren't
                echoed, and defaults aren't told (an object that the host has set is told at bind, too). Binding null
                unbinds. A set takes effect in the order of the calls, some time after the call has returned; floating
                values compare by value, so that NaN always counts as new. Text is bytes up to a zero, in no particular
                encoding; it is copied during the call, and a callback's text is valid during the callback only. Several
                changes of a text between two polls deliver the newest text each time.
   Events       Callbacks without a value behind them (X_bindY without X_setY): what happened before the bind isn't told.
   Lists        A property whose value is a list of objects. At bind and when the core appends, the callback gets action 3,
                index 0 and a handle that the host owns. X_setY with action 3 appends the item, 0 puts it at index (beyond
                the end the list grows to twice the index, the rows between holding nothing; an empty list doesn't grow),
                4 clears; other actions do nothing. The item must be a valid handle for every action. X_resetY clears, too.
   Verbs        Other functions with a handle are queued like sets and return at once.
   Base classes The functions of a base class take handles of derived ones, by a cast: every class is an asyncObject,
                HpsdrRadio and HpsdrNpRadio are Radios, every ...ModDemod is a modDemod.
   Callbacks    run on the thread that polls, inside getUpdates or getRenderUpdates (vtrx newSpectrum alone), and may call
                everything but the poll that they run in. Poll every few milliseconds: nothing tells the host that something
                waits. The two callbacks of proxyModDemod are the exception: they run in the signal chain.
   The end      Deleted comes when the last holder has let an object go, after all its other updates. Bind it on each
                object that you create or are handed, and Echo before Ping: a callback that is missing when its time comes
                leaves the line "getUpdates bad_function_call" in the log.
   Threads      Sets, resets and verbs come from one thread at a time. Each of the two polls is run by one thread at a time;
                they may be two threads, and then so are the callbacks. create, release and bind are for that one thread, too.
                Arrays, memory, transforms and check values may be used on any thread.
   Limits       1,024 sets and verbs may wait for each radio, transceiver, Wireless, and for all other objects together; the
                next is lost with "Can't queue property set" in the log. 65,536 updates may wait for the poll on each of the
                core's threads, and 64 spectrum frames; further ones are lost. At most 32 threads of the process can report
                to one queue. */
#ifndef LARCHLIB_H
#define LARCHLIB_H
#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define LARCH_API __attribute__((visibility("default")))

typedef struct agc agc;
typedef struct amModDemod amModDemod;
typedef struct asyncObject asyncObject;
typedef struct calibLine calibLine;
typedef struct chirpyModDemod chirpyModDemod;
typedef struct complexArray complexArray;
typedef struct Controller Controller;
typedef struct cwModDemod cwModDemod;
typedef struct doubleArray doubleArray;
typedef struct floatArray floatArray;
typedef struct fmModDemod fmModDemod;
typedef struct fskModDemod fskModDemod;
typedef struct hellschreiberModDemod hellschreiberModDemod;
typedef struct HpsdrNpRadio HpsdrNpRadio;
typedef struct HpsdrRadio HpsdrRadio;
typedef struct J16 J16;
typedef struct J16Filter J16Filter;
typedef struct J16FilterBands J16FilterBands;
typedef struct J16FilterRx J16FilterRx;
typedef struct JTModDemod JTModDemod;
typedef struct modDemod modDemod;
typedef struct MultiPskModDemod MultiPskModDemod;
typedef struct proxyModDemod proxyModDemod;
typedef struct PskDetector PskDetector;
typedef struct PskModDemod PskModDemod;
typedef struct Radio Radio;
typedef struct RTTYModDemod RTTYModDemod;
typedef struct sigGenModDemod sigGenModDemod;
typedef struct ssbModDemod ssbModDemod;
typedef struct ValueLabelItem ValueLabelItem;
typedef struct vtrx vtrx;
typedef struct Wireless Wireless;

/* Handles and arrays that a callback gets belong to the host, texts are valid during the call only. */
typedef void (*larch_bool_cb)(bool value);
typedef void (*larch_int32_cb)(int32_t value);
typedef void (*larch_float_cb)(float value);
typedef void (*larch_double_cb)(double value);
typedef void (*larch_text_cb)(const char* text);
typedef void (*larch_agc_cb)(agc* value);
typedef void (*larch_filter_cb)(J16Filter* value);
typedef void (*larch_samples_cb)(floatArray* samples);
typedef void (*larch_spectrum_cb)(floatArray* frame, double low, double high, int32_t rate);
typedef void (*larch_vtrx_added_cb)(vtrx* handle, int32_t frequency, int32_t sampleRate);
typedef void (*larch_rx_chunk_cb)(complexArray* block);
typedef void (*larch_tx_chunk_cb)(complexArray* out, complexArray* mic);
typedef void (*larch_choice_row_cb)(int32_t action, int32_t index, ValueLabelItem* item);
typedef void (*larch_calib_line_row_cb)(int32_t action, int32_t index, calibLine* item);
typedef void (*larch_j16_row_cb)(int32_t action, int32_t index, J16* item);
typedef void (*larch_filter_band_row_cb)(int32_t action, int32_t index, J16FilterBands* item);
typedef void (*larch_filter_rx_row_cb)(int32_t action, int32_t index, J16FilterRx* item);
typedef void (*larch_psk_detector_row_cb)(int32_t action, int32_t index, PskDetector* item);

/* Actions of the lists. */
enum { larch_put = 0, larch_append = 3, larch_clear = 4 };

/* ----------------------------------------------------------------------------------------------------------------------
   The library: start and polls.
   ------------------------------------------------------------------------------------------------------------------- */
/* Starts the library. path: the log file, opened for appending, lines end in CR LF; <path>.dump.txt beside it holds the
   last unknown exception. logMode 1 logs information and errors, any other value errors only. */
LARCH_API void init(const char* path, int32_t logMode);
/* Runs all that waits for the host, on the calling thread, until nothing is left; what callbacks cause meanwhile runs,
   too. */
LARCH_API void getUpdates(void);
/* The same for spectrum frames. */
LARCH_API void getRenderUpdates(void);

/* ----------------------------------------------------------------------------------------------------------------------
   asyncObject: the base of all classes. An object that was created takes its sets and verbs in one common group, on the
   core's workers; each radio, each transceiver of a radio and Wireless have a group of their own and run beside each
   other.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API asyncObject* asyncObject_create(void);
LARCH_API void asyncObject_release(asyncObject* h);
/* Deleted: the object is gone; the value is always 1. */
LARCH_API void asyncObject_bindDeleted(asyncObject* h, larch_int32_cb callback);
/* Echo: the answer to Ping, with its value. */
LARCH_API void asyncObject_bindEcho(asyncObject* h, larch_int32_cb callback);
/* Asks for an Echo: it comes when all sets before it on the same object have run. */
LARCH_API void asyncObject_Ping(asyncObject* h, int32_t value);

/* ----------------------------------------------------------------------------------------------------------------------
   Controller: an object for the host's own use; it adds nothing to asyncObject.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API Controller* Controller_create(void);
LARCH_API void Controller_release(Controller* h);

/* ----------------------------------------------------------------------------------------------------------------------
   ValueLabelItem: a row of a list of choices. Both properties are told at bind.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API ValueLabelItem* ValueLabelItem_create(void);
LARCH_API void ValueLabelItem_release(ValueLabelItem* h);
/* Value: the number that stands for the choice. Default 0. */
LARCH_API void ValueLabelItem_bindValue(ValueLabelItem* h, larch_int32_cb callback);
LARCH_API void ValueLabelItem_setValue(ValueLabelItem* h, int32_t value);
/* Label: what a user reads. Default empty. */
LARCH_API void ValueLabelItem_bindLabel(ValueLabelItem* h, larch_text_cb callback);
LARCH_API void ValueLabelItem_setLabel(ValueLabelItem* h, const char* text);

/* ----------------------------------------------------------------------------------------------------------------------
   Arrays: blocks of samples, held by handles of their own kind: the host gives back what it created and what a callback
   handed over with the delete function of the array's type, once; null is ignored. The contents of a new array are
   undefined. Calls run at once on the calling thread.
   ------------------------------------------------------------------------------------------------------------------- */
/* floatArray: n floats; 0 is legal, a negative n counts as 0. */
LARCH_API floatArray* floatArray_create(int32_t n);
LARCH_API void floatArray_delete(floatArray* h);
LARCH_API float* floatArray_data(floatArray* h);
LARCH_API int32_t floatArray_size(floatArray* h);
/* doubleArray: n doubles; 0 is legal, a negative n counts as 0. */
LARCH_API doubleArray* doubleArray_create(int32_t n);
LARCH_API void doubleArray_delete(doubleArray* h);
LARCH_API double* doubleArray_data(doubleArray* h);
LARCH_API int32_t doubleArray_size(doubleArray* h);
/* complexArray: n pairs of doubles, real part first; 0 is legal, a negative n counts as 0. */
LARCH_API complexArray* complexArray_create(int32_t n);
LARCH_API void complexArray_delete(complexArray* h);
LARCH_API double* complexArray_data(complexArray* h);
LARCH_API int32_t complexArray_size(complexArray* h);
/* Transforms of in.size points, no scaling in either direction; another size than a power of two gets the transform of
   the next lower power of two, and only so many points are read and written. out must be at least as long as in.
   Forward: kernel e^(-j 2 pi k n / N); in and out may be the same array. */
LARCH_API void fft_Fwd(complexArray* in, complexArray* out);
/* Inverse: kernel e^(+j 2 pi k n / N). Forward and inverse multiply by N. */
LARCH_API void fft_Rev(complexArray* in, complexArray* out);
/* Forward of real input: bins 0 to N/2 of out are written. */
LARCH_API void fft_FwdR(doubleArray* in, complexArray* out);
/* Memory with 64-byte alignment, of whole 16-byte units: a rest of bytes / 16 is dropped, less than 16 asks for no bytes
   at all. Null when there is none. */
LARCH_API void* mem_malloc(int32_t bytes);
/* Gives back what mem_malloc returned; null is ignored. */
LARCH_API void mem_free(void* memory);
/* Copies bytes; the ranges must not overlap. */
LARCH_API void mem_memcpy(void* dst, const void* src, int32_t bytes);
/* The 12-bit check value of n bytes, 0 for none; appended to a message as its last 12 bits it makes the check true. */
LARCH_API uint16_t crc12(const uint8_t* data, int32_t n);
LARCH_API bool crc12_check(const uint8_t* data, int32_t n);

/* ----------------------------------------------------------------------------------------------------------------------
   Wireless: the sound devices and the microphone equaliser. One is enough; the last one created gives the speech modes
   their equaliser, which is flat without one. Devices are found at init; new ones need a new process.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API Wireless* Wireless_create(void);
LARCH_API void Wireless_release(Wireless* h);
/* Gives DefaultMicEQ nine flat rows at 0, 64, 128, 300, 600, 1200, 2400, 4800 and 24000 Hz when it is empty, and watches
   the first nine rows from then on: call it after filling the list with a stored curve. */
LARCH_API void Wireless_Init(Wireless* h);
/* outputDevices: choices for the audioOutput of a transceiver: the value is the device's id, -1 is "None". A label that
   ends in -L is the device's low-latency form. */
LARCH_API void Wireless_bindoutputDevices(Wireless* h, larch_choice_row_cb callback);
LARCH_API void Wireless_setoutputDevices(Wireless* h, int32_t action, int32_t index, ValueLabelItem* item);
LARCH_API void Wireless_resetoutputDevices(Wireless* h);
/* inputDevices: choices for audioInput: the value is an index, 0 is "None". */
LARCH_API void Wireless_bindinputDevices(Wireless* h, larch_choice_row_cb callback);
LARCH_API void Wireless_setinputDevices(Wireless* h, int32_t action, int32_t index, ValueLabelItem* item);
LARCH_API void Wireless_resetinputDevices(Wireless* h);
/* DefaultMicEQ: the first nine rows count, with fewer it is flat: inp in Hz, rising, outp a linear gain, straight lines
   between them. */
LARCH_API void Wireless_bindDefaultMicEQ(Wireless* h, larch_calib_line_row_cb callback);
LARCH_API void Wireless_setDefaultMicEQ(Wireless* h, int32_t action, int32_t index, calibLine* item);
LARCH_API void Wireless_resetDefaultMicEQ(Wireless* h);

/* ----------------------------------------------------------------------------------------------------------------------
   calibLine: a point of a line, in lists of Wireless and HpsdrRadio. Made by the core it is told at bind.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API calibLine* calibLine_create(void);
LARCH_API void calibLine_release(calibLine* h);
/* inp: input: Hz, or a detector reading. Default 0. */
LARCH_API void calibLine_bindinp(calibLine* h, larch_double_cb callback);
LARCH_API void calibLine_setinp(calibLine* h, double value);
/* outp: output: linear gain, or watts. Default 0. */
LARCH_API void calibLine_bindoutp(calibLine* h, larch_double_cb callback);
LARCH_API void calibLine_setoutp(calibLine* h, double value);

/* ----------------------------------------------------------------------------------------------------------------------
   Radio: the base of every piece of hardware; created as such it drives none. It serves any number of virtual
   transceivers from the few receivers of the hardware: a transceiver that lies within the band of a receiver shares it,
   and a receiver's centre moves when that keeps everybody served.

   A radio that has been started is never destroyed. Host's order: create, bind, set (address, board's values), addVtrx,
   start: a first start of HpsdrRadio or HpsdrNpRadio without a transceiver makes one by itself, on 14095600 Hz, which
   vtrxAdded hands over like any other.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API Radio* Radio_create(void);
LARCH_API void Radio_release(Radio* h);
/* Opens the way to the radio and starts streaming; a restart also starts all transceivers. */
LARCH_API void Radio_start(Radio* h);
/* Stops streaming and all transceivers; the receivers and the socket stay. */
LARCH_API void Radio_stop(Radio* h);
/* Adds a transceiver on a frequency in Hz, -1 for the present one of the hardware receiver with this index. vtrxAdded
   brings the handle. It then needs a mode (vtrx_setModulation), filters, and vtrx_start. */
LARCH_API void Radio_addVtrx(Radio* h, int32_t frequency, int32_t receiver);
/* Removes a transceiver; releasing its handle alone doesn't. */
LARCH_API void Radio_removeVtrx(Radio* h, vtrx* transceiver);
/* vtrxAdded: a transceiver's handle, its frequency and the sample rate in Hz. */
LARCH_API void Radio_bindvtrxAdded(Radio* h, larch_vtrx_added_cb callback);
/* SampleRate: rate of all hardware receivers in Hz, one of the radio's SampleRates. Default 48000. */
LARCH_API void Radio_bindSampleRate(Radio* h, larch_int32_cb callback);
LARCH_API void Radio_setSampleRate(Radio* h, int32_t value);
/* maxHwReceivers: hardware receivers that the radio offers; the host knows the board. 1 and up; default 1. */
LARCH_API void Radio_bindmaxHwReceivers(Radio* h, larch_int32_cb callback);
LARCH_API void Radio_setmaxHwReceivers(Radio* h, int32_t value);
/* maxADCs: ADCs of the radio, kept for the host. Default 1. */
LARCH_API void Radio_bindmaxADCs(Radio* h, larch_int32_cb callback);
LARCH_API void Radio_setmaxADCs(Radio* h, int32_t value);
/* disableVirtualReceivers: one hardware receiver for each transceiver, no sharing. Default false. */
LARCH_API void Radio_binddisableVirtualReceivers(Radio* h, larch_bool_cb callback);
LARCH_API void Radio_setdisableVirtualReceivers(Radio* h, bool value);
/* TransceiverOffset: Hz between what the transceivers show and what the hardware tunes to, as with a converter: hardware
   frequency plus offset is shown. Default 0. */
LARCH_API void Radio_bindTransceiverOffset(Radio* h, larch_int32_cb callback);
LARCH_API void Radio_setTransceiverOffset(Radio* h, int32_t value);
/* rxLevelCalibration: linear factor on every received sample (Protocol 1). Default 1.0. */
LARCH_API void Radio_bindrxLevelCalibration(Radio* h, larch_double_cb callback);
LARCH_API void Radio_setrxLevelCalibration(Radio* h, double value);
/* ptt: the radio transmits, as this system commands it. A set reaches the radio past everything else: false takes MOX
   away with the next datagram, without a fall; true keys it, with silence, even without canTransmit. Key by vtrx ptt.
   Default false. */
LARCH_API void Radio_bindptt(Radio* h, larch_bool_cb callback);
LARCH_API void Radio_setptt(Radio* h, bool value);
/* RadioPtt: the radio's own PTT input, as the radio reports it. Default false. */
LARCH_API void Radio_bindRadioPtt(Radio* h, larch_bool_cb callback);
LARCH_API void Radio_setRadioPtt(Radio* h, bool value);
/* canTransmit: a transceiver may key this radio. True for HpsdrRadio, told at bind; else false. */
LARCH_API void Radio_bindcanTransmit(Radio* h, larch_bool_cb callback);
LARCH_API void Radio_setcanTransmit(Radio* h, bool value);
/* drive: transmit level 0 to 255 while no transceiver has transmitted yet. Default 0. */
LARCH_API void Radio_binddrive(Radio* h, larch_int32_cb callback);
LARCH_API void Radio_setdrive(Radio* h, int32_t value);
/* cwInternal: the radio forms Morse itself from a key line in the transmit stream. Default false. */
LARCH_API void Radio_bindcwInternal(Radio* h, larch_bool_cb callback);
LARCH_API void Radio_setcwInternal(Radio* h, bool value);
/* cwHangTime: ms that the radio's own keyer keeps transmitting. Default 120. */
LARCH_API void Radio_bindcwHangTime(Radio* h, larch_int32_cb callback);
LARCH_API void Radio_setcwHangTime(Radio* h, int32_t value);
/* sentPackets: kept and reported as the host sets it. Default 0. */
LARCH_API void Radio_bindsentPackets(Radio* h, larch_int32_cb callback);
LARCH_API void Radio_setsentPackets(Radio* h, int32_t value);
/* receivedPackets: kept and reported as the host sets it. Default 0. */
LARCH_API void Radio_bindreceivedPackets(Radio* h, larch_int32_cb callback);
LARCH_API void Radio_setreceivedPackets(Radio* h, int32_t value);

/* ----------------------------------------------------------------------------------------------------------------------
   HpsdrRadio: a radio of openHPSDR Protocol 1, receive and transmit. Its address and everything that depends on the
   board come from the host: there is no discovery here. The meters come while the radio streams; a value is told when
   it changes.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API HpsdrRadio* HpsdrRadio_create(void);
LARCH_API void HpsdrRadio_release(HpsdrRadio* h);
/* SampleRates: rates in Hz that the radio offers; values for Radio SampleRate. */
LARCH_API void HpsdrRadio_bindSampleRates(HpsdrRadio* h, larch_choice_row_cb callback);
LARCH_API void HpsdrRadio_setSampleRates(HpsdrRadio* h, int32_t action, int32_t index, ValueLabelItem* item);
LARCH_API void HpsdrRadio_resetSampleRates(HpsdrRadio* h);
/* ipAddress: dotted IPv4 address of the radio, read at the first start only. A text that is none leaves "create rio
   failed" in the log, and this object stays silent for good. Default empty. */
LARCH_API void HpsdrRadio_bindipAddress(HpsdrRadio* h, larch_text_cb callback);
LARCH_API void HpsdrRadio_setipAddress(HpsdrRadio* h, const char* text);
/* Mac: the radio's MAC address, kept for the host. Default empty. */
LARCH_API void HpsdrRadio_bindMac(HpsdrRadio* h, larch_text_cb callback);
LARCH_API void HpsdrRadio_setMac(HpsdrRadio* h, const char* text);
/* clockFrequency: clock of the ADC in Hz. Default 73728000. */
LARCH_API void HpsdrRadio_bindclockFrequency(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setclockFrequency(HpsdrRadio* h, int32_t value);
/* frequencyCalibration: factor on every frequency that is sent to the radio, near 1. Default 1.0. */
LARCH_API void HpsdrRadio_bindfrequencyCalibration(HpsdrRadio* h, larch_double_cb callback);
LARCH_API void HpsdrRadio_setfrequencyCalibration(HpsdrRadio* h, double value);
/* autoFreqCalib: takes the factor from the clock measurement, at most every two minutes after twenty minutes of stream.
   Default false. */
LARCH_API void HpsdrRadio_bindautoFreqCalib(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setautoFreqCalib(HpsdrRadio* h, bool value);
/* rxGain: gain of the receive path in dB. Nothing limits it: outside of minRxRFGain to maxRxRFGain the radio gets another
   gain's code. Default 24. */
LARCH_API void HpsdrRadio_bindrxGain(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setrxGain(HpsdrRadio* h, int32_t value);
/* txGain: gain of the receive path in dB while transmitting. Default 0. */
LARCH_API void HpsdrRadio_bindtxGain(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_settxGain(HpsdrRadio* h, int32_t value);
/* minRxRFGain: lower limit of rxGain in dB, and the zero point of the radio's gain code. Default -12. */
LARCH_API void HpsdrRadio_bindminRxRFGain(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setminRxRFGain(HpsdrRadio* h, int32_t value);
/* maxRxRFGain: upper limit of rxGain in dB, for the host. Default 48. */
LARCH_API void HpsdrRadio_bindmaxRxRFGain(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setmaxRxRFGain(HpsdrRadio* h, int32_t value);
/* minTxRFGain: lower limit of txGain in dB, for the host. Default -12. */
LARCH_API void HpsdrRadio_bindminTxRFGain(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setminTxRFGain(HpsdrRadio* h, int32_t value);
/* maxTxRFGain: upper limit of txGain in dB, for the host. Default 19. */
LARCH_API void HpsdrRadio_bindmaxTxRFGain(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setmaxTxRFGain(HpsdrRadio* h, int32_t value);
/* FwVersion: the radio's firmware version, from the host; from 60 on the bias devices have another address. Default 0. */
LARCH_API void HpsdrRadio_bindFwVersion(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setFwVersion(HpsdrRadio* h, int32_t value);
/* adcOvl: the ADC is overloaded, as of the last status. Default false. */
LARCH_API void HpsdrRadio_bindadcOvl(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setadcOvl(HpsdrRadio* h, bool value);
/* adcPeak: peak of the raw ADC samples since the last report, 1.0 is full scale. Default 0. */
LARCH_API void HpsdrRadio_bindadcPeak(HpsdrRadio* h, larch_double_cb callback);
LARCH_API void HpsdrRadio_setadcPeak(HpsdrRadio* h, double value);
/* adcPeakDBFS: the same in dB, -100 for silence. Default 0. */
LARCH_API void HpsdrRadio_bindadcPeakDBFS(HpsdrRadio* h, larch_double_cb callback);
LARCH_API void HpsdrRadio_setadcPeakDBFS(HpsdrRadio* h, double value);
/* ep6SeqErrors: breaks in the sequence of the sample datagrams, a running count. Default 0. */
LARCH_API void HpsdrRadio_bindep6SeqErrors(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setep6SeqErrors(HpsdrRadio* h, int32_t value);
/* ep4SeqErrors: kept and reported as the host sets it: the raw ADC samples have no sequence check. Default 0. */
LARCH_API void HpsdrRadio_bindep4SeqErrors(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setep4SeqErrors(HpsdrRadio* h, int32_t value);
/* Temp: degrees Celsius. Default 0. */
LARCH_API void HpsdrRadio_bindTemp(HpsdrRadio* h, larch_double_cb callback);
LARCH_API void HpsdrRadio_setTemp(HpsdrRadio* h, double value);
/* Current: PA current while transmitting, mA; else 0. */
LARCH_API void HpsdrRadio_bindCurrent(HpsdrRadio* h, larch_double_cb callback);
LARCH_API void HpsdrRadio_setCurrent(HpsdrRadio* h, double value);
/* FwdPwr: forward power in watts by FwdPwrCalibration while transmitting; else 0. */
LARCH_API void HpsdrRadio_bindFwdPwr(HpsdrRadio* h, larch_float_cb callback);
LARCH_API void HpsdrRadio_setFwdPwr(HpsdrRadio* h, float value);
/* RevPwr: reflected power in watts while transmitting; else 0. */
LARCH_API void HpsdrRadio_bindRevPwr(HpsdrRadio* h, larch_float_cb callback);
LARCH_API void HpsdrRadio_setRevPwr(HpsdrRadio* h, float value);
/* Swr: standing wave ratio while transmitting; else 0. */
LARCH_API void HpsdrRadio_bindSwr(HpsdrRadio* h, larch_float_cb callback);
LARCH_API void HpsdrRadio_setSwr(HpsdrRadio* h, float value);
/* maxAdcValue: full scale of the ADC, for the receive level and the meters: 2048 for 12 bits, 32768 for 16. 1 to 32768:
   samples are multiplied by the whole part of 32768 / maxAdcValue. Default 2048. */
LARCH_API void HpsdrRadio_bindmaxAdcValue(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setmaxAdcValue(HpsdrRadio* h, int32_t value);
/* TypeID: board type, from the host; 6 and 7 have disableTR, enablePA and a tune bit. Default 0. */
LARCH_API void HpsdrRadio_bindTypeID(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setTypeID(HpsdrRadio* h, int32_t value);
/* HLiteGain: gain code of the Hermes-Lite in its first form. Default true. */
LARCH_API void HpsdrRadio_bindHLiteGain(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setHLiteGain(HpsdrRadio* h, bool value);
/* HLite2Gain: gain code of the Hermes-Lite 2. Default false. */
LARCH_API void HpsdrRadio_bindHLite2Gain(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setHLite2Gain(HpsdrRadio* h, bool value);
/* HLiteRxTxGain: separate gain codes for receive and transmit. Default false. */
LARCH_API void HpsdrRadio_bindHLiteRxTxGain(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setHLiteRxTxGain(HpsdrRadio* h, bool value);
/* stopToAddReceiver: the stream stops and starts again when the number of hardware receivers changes. Default true. */
LARCH_API void HpsdrRadio_bindstopToAddReceiver(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setstopToAddReceiver(HpsdrRadio* h, bool value);
/* rfAgcModes: choices for rfAgcMode: 0 "off", 2 "max". */
LARCH_API void HpsdrRadio_bindrfAgcModes(HpsdrRadio* h, larch_choice_row_cb callback);
LARCH_API void HpsdrRadio_setrfAgcModes(HpsdrRadio* h, int32_t action, int32_t index, ValueLabelItem* item);
LARCH_API void HpsdrRadio_resetrfAgcModes(HpsdrRadio* h);
/* rfAgcMode: automatic rxGain from ADC overloads: 0 off, from 1 on. Default 0. */
LARCH_API void HpsdrRadio_bindrfAgcMode(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setrfAgcMode(HpsdrRadio* h, int32_t value);
/* RXAntenna: uses the second receive antenna. Default false. */
LARCH_API void HpsdrRadio_bindRXAntenna(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setRXAntenna(HpsdrRadio* h, bool value);
/* enablePA: switches the power amplifier on (TypeID 6 and 7). Default false. */
LARCH_API void HpsdrRadio_bindenablePA(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setenablePA(HpsdrRadio* h, bool value);
/* disableTR: keeps the transmit-receive relay still (TypeID 6 and 7). Default false. */
LARCH_API void HpsdrRadio_binddisableTR(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setdisableTR(HpsdrRadio* h, bool value);
/* hasHL2PA: kept for the host. Default false. */
LARCH_API void HpsdrRadio_bindhasHL2PA(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_sethasHL2PA(HpsdrRadio* h, bool value);
/* UseJ16: filter outputs by J16Set; false: by FilterSet. Default true. */
LARCH_API void HpsdrRadio_bindUseJ16(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setUseJ16(HpsdrRadio* h, bool value);
/* J16Set: one row for each band of the filter board; ten default rows at the first start when the list is empty. */
LARCH_API void HpsdrRadio_bindJ16Set(HpsdrRadio* h, larch_j16_row_cb callback);
LARCH_API void HpsdrRadio_setJ16Set(HpsdrRadio* h, int32_t action, int32_t index, J16* item);
LARCH_API void HpsdrRadio_resetJ16Set(HpsdrRadio* h);
/* FilterSet: the other description of the filter board, one object from the start, told at bind. */
LARCH_API void HpsdrRadio_bindFilterSet(HpsdrRadio* h, larch_filter_cb callback);
LARCH_API void HpsdrRadio_setFilterSet(HpsdrRadio* h, J16Filter* value);
/* FwdPwrCalibration: detector reading to watts, straight lines between the points; fifteen default rows at the first
   start when the list is empty. */
LARCH_API void HpsdrRadio_bindFwdPwrCalibration(HpsdrRadio* h, larch_calib_line_row_cb callback);
LARCH_API void HpsdrRadio_setFwdPwrCalibration(HpsdrRadio* h, int32_t action, int32_t index, calibLine* item);
LARCH_API void HpsdrRadio_resetFwdPwrCalibration(HpsdrRadio* h);
/* biasEnabled: bias commands go out. Default false. */
LARCH_API void HpsdrRadio_bindbiasEnabled(HpsdrRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrRadio_setbiasEnabled(HpsdrRadio* h, bool value);
/* paBias0: bias of the first PA transistor, 0 to 255, sent at once when it changes. Default 0. */
LARCH_API void HpsdrRadio_bindpaBias0(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setpaBias0(HpsdrRadio* h, int32_t value);
/* paBias1: the same for the second one. Default 0. */
LARCH_API void HpsdrRadio_bindpaBias1(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setpaBias1(HpsdrRadio* h, int32_t value);
/* paExtBias0: the same for an external PA. Default 0. */
LARCH_API void HpsdrRadio_bindpaExtBias0(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setpaExtBias0(HpsdrRadio* h, int32_t value);
/* MercurySerial: kept for the host. Default 0. */
LARCH_API void HpsdrRadio_bindMercurySerial(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setMercurySerial(HpsdrRadio* h, int32_t value);
/* PenelopeSerial: kept for the host. Default 0. */
LARCH_API void HpsdrRadio_bindPenelopeSerial(HpsdrRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrRadio_setPenelopeSerial(HpsdrRadio* h, int32_t value);
/* Blind writes into the radio's own memory, some datagrams apart while it streams; nothing is read back. writeBias and
   writeExtBias store the present biases, with biasEnabled only. */
LARCH_API void HpsdrRadio_writeBias(HpsdrRadio* h);
LARCH_API void HpsdrRadio_writeExtBias(HpsdrRadio* h);
/* The fixed IPv4 address: its first byte is the highest of the value. */
LARCH_API void HpsdrRadio_writeIP(HpsdrRadio* h, int32_t value);
/* The last two bytes of the MAC address, the low 16 bits of the value. */
LARCH_API void HpsdrRadio_writeMac(HpsdrRadio* h, int32_t value);
/* Which of the stored settings are in force: the low 8 bits of the value. */
LARCH_API void HpsdrRadio_writeStatus(HpsdrRadio* h, int32_t value);

/* ----------------------------------------------------------------------------------------------------------------------
   J16: a row of J16Set. Outputs are bits 0 to 6 of the filter board's connector. The first row that is not below a
   frequency counts.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API J16* J16_create(void);
LARCH_API void J16_release(J16* h);
/* maxfrequency: upper end of the band in Hz. Default 0. */
LARCH_API void J16_bindmaxfrequency(J16* h, larch_int32_cb callback);
LARCH_API void J16_setmaxfrequency(J16* h, int32_t value);
/* rx: outputs while receiving. Default 0. */
LARCH_API void J16_bindrx(J16* h, larch_int32_cb callback);
LARCH_API void J16_setrx(J16* h, int32_t value);
/* tx: outputs while transmitting. Default 0. */
LARCH_API void J16_bindtx(J16* h, larch_int32_cb callback);
LARCH_API void J16_settx(J16* h, int32_t value);

/* ----------------------------------------------------------------------------------------------------------------------
   J16Filter: filter outputs that depend on the combination of bands in which all receivers are.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API J16Filter* J16Filter_create(void);
LARCH_API void J16Filter_release(J16Filter* h);
/* FilterBands: the bands, rising. */
LARCH_API void J16Filter_bindFilterBands(J16Filter* h, larch_filter_band_row_cb callback);
LARCH_API void J16Filter_setFilterBands(J16Filter* h, int32_t action, int32_t index, J16FilterBands* item);
LARCH_API void J16Filter_resetFilterBands(J16Filter* h);
/* FilterRx: outputs while receiving: the row at index m counts when the receivers are in the bands of the bits of m. Row
   0 stands for no band. */
LARCH_API void J16Filter_bindFilterRx(J16Filter* h, larch_filter_rx_row_cb callback);
LARCH_API void J16Filter_setFilterRx(J16Filter* h, int32_t action, int32_t index, J16FilterRx* item);
LARCH_API void J16Filter_resetFilterRx(J16Filter* h);

/* ----------------------------------------------------------------------------------------------------------------------
   J16FilterBands: a row of FilterBands.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API J16FilterBands* J16FilterBands_create(void);
LARCH_API void J16FilterBands_release(J16FilterBands* h);
/* maxfrequency: upper end of the band in Hz. Default 0. */
LARCH_API void J16FilterBands_bindmaxfrequency(J16FilterBands* h, larch_int32_cb callback);
LARCH_API void J16FilterBands_setmaxfrequency(J16FilterBands* h, int32_t value);
/* tx: outputs while transmitting in this band. Default 0. */
LARCH_API void J16FilterBands_bindtx(J16FilterBands* h, larch_int32_cb callback);
LARCH_API void J16FilterBands_settx(J16FilterBands* h, int32_t value);

/* ----------------------------------------------------------------------------------------------------------------------
   J16FilterRx: a row of FilterRx.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API J16FilterRx* J16FilterRx_create(void);
LARCH_API void J16FilterRx_release(J16FilterRx* h);
/* bands: the bands that the row stands for, for display; what counts is its place. Default 0. */
LARCH_API void J16FilterRx_bindbands(J16FilterRx* h, larch_int32_cb callback);
LARCH_API void J16FilterRx_setbands(J16FilterRx* h, int32_t value);
/* rx: outputs while receiving. Default 0. */
LARCH_API void J16FilterRx_bindrx(J16FilterRx* h, larch_int32_cb callback);
LARCH_API void J16FilterRx_setrx(J16FilterRx* h, int32_t value);

/* ----------------------------------------------------------------------------------------------------------------------
   HpsdrNpRadio: a radio of openHPSDR Protocol 2, receive only: up to sixteen hardware receivers at up to 1536 kHz. The
   same properties as HpsdrRadio's where they exist; it has one hardware receiver at 1 MHz from the start.

   Frequencies and rxGain reach the radio once in each 32 of its microphone packets, the rate and the number of receivers
   half a round later: within 43 ms at the usual 750 packets a second. A radio that has gone silent is told nothing.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API HpsdrNpRadio* HpsdrNpRadio_create(void);
LARCH_API void HpsdrNpRadio_release(HpsdrNpRadio* h);
/* SampleRates: rates in Hz that the radio offers; values for Radio SampleRate. */
LARCH_API void HpsdrNpRadio_bindSampleRates(HpsdrNpRadio* h, larch_choice_row_cb callback);
LARCH_API void HpsdrNpRadio_setSampleRates(HpsdrNpRadio* h, int32_t action, int32_t index, ValueLabelItem* item);
LARCH_API void HpsdrNpRadio_resetSampleRates(HpsdrNpRadio* h);
/* ipAddress: dotted IPv4 address of the radio, read at the first start. A text that is none leaves an error line in the
   log and nothing is started; the next start reads it again. Default empty. */
LARCH_API void HpsdrNpRadio_bindipAddress(HpsdrNpRadio* h, larch_text_cb callback);
LARCH_API void HpsdrNpRadio_setipAddress(HpsdrNpRadio* h, const char* text);
/* Mac: the radio's MAC address, kept for the host. Default empty. */
LARCH_API void HpsdrNpRadio_bindMac(HpsdrNpRadio* h, larch_text_cb callback);
LARCH_API void HpsdrNpRadio_setMac(HpsdrNpRadio* h, const char* text);
/* clockFrequency: clock of the ADC in Hz, of which the frequency words are shares. In the odd multiples of its half the
   spectrum is turned round. Default 122880000. */
LARCH_API void HpsdrNpRadio_bindclockFrequency(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setclockFrequency(HpsdrNpRadio* h, int32_t value);
/* frequencyCalibration: kept and reported. Default 1.0. */
LARCH_API void HpsdrNpRadio_bindfrequencyCalibration(HpsdrNpRadio* h, larch_double_cb callback);
LARCH_API void HpsdrNpRadio_setfrequencyCalibration(HpsdrNpRadio* h, double value);
/* autoFreqCalib: kept and reported. Default false. */
LARCH_API void HpsdrNpRadio_bindautoFreqCalib(HpsdrNpRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrNpRadio_setautoFreqCalib(HpsdrNpRadio* h, bool value);
/* rxGain: gain of the receive path in dB, maxRxRFGain less the attenuation, which the radio is told, 0 to 31 dB:
   keep it within maxRxRFGain - 31 to maxRxRFGain. The samples are scaled back by it, so that levels stay. Default 0. */
LARCH_API void HpsdrNpRadio_bindrxGain(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setrxGain(HpsdrNpRadio* h, int32_t value);
/* txGain: kept and reported. Default 0. */
LARCH_API void HpsdrNpRadio_bindtxGain(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_settxGain(HpsdrNpRadio* h, int32_t value);
/* minRxRFGain: lower limit of rxGain in dB, for the host. Default -31. */
LARCH_API void HpsdrNpRadio_bindminRxRFGain(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setminRxRFGain(HpsdrNpRadio* h, int32_t value);
/* maxRxRFGain: rxGain without attenuation, dB. Default 0. */
LARCH_API void HpsdrNpRadio_bindmaxRxRFGain(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setmaxRxRFGain(HpsdrNpRadio* h, int32_t value);
/* minTxRFGain: for the host, dB. Default -31. */
LARCH_API void HpsdrNpRadio_bindminTxRFGain(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setminTxRFGain(HpsdrNpRadio* h, int32_t value);
/* maxTxRFGain: for the host, dB. Default 0. */
LARCH_API void HpsdrNpRadio_bindmaxTxRFGain(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setmaxTxRFGain(HpsdrNpRadio* h, int32_t value);
/* FwVersion: kept and reported. Default 0. */
LARCH_API void HpsdrNpRadio_bindFwVersion(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setFwVersion(HpsdrNpRadio* h, int32_t value);
/* adcOvl: the ADC is overloaded, as of the last status. Default false. */
LARCH_API void HpsdrNpRadio_bindadcOvl(HpsdrNpRadio* h, larch_bool_cb callback);
LARCH_API void HpsdrNpRadio_setadcOvl(HpsdrNpRadio* h, bool value);
/* adcPeak: peak of the raw ADC samples since the last report, 1.0 is full scale; with every 202nd of their datagrams.
   Default 0. */
LARCH_API void HpsdrNpRadio_bindadcPeak(HpsdrNpRadio* h, larch_double_cb callback);
LARCH_API void HpsdrNpRadio_setadcPeak(HpsdrNpRadio* h, double value);
/* adcPeakDBFS: the same in dB, -100 for silence. Default 0. */
LARCH_API void HpsdrNpRadio_bindadcPeakDBFS(HpsdrNpRadio* h, larch_double_cb callback);
LARCH_API void HpsdrNpRadio_setadcPeakDBFS(HpsdrNpRadio* h, double value);
/* ep6SeqErrors: breaks in the sequence of the sample datagrams, a running count of all receivers together. The first
   datagram of a receiver, and the first after a restart, counts one when the radio doesn't begin at the number that is
   due. Default 0. */
LARCH_API void HpsdrNpRadio_bindep6SeqErrors(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setep6SeqErrors(HpsdrNpRadio* h, int32_t value);
/* ep4SeqErrors: kept and reported as the host sets it: the raw ADC samples have no sequence check. Default 0. */
LARCH_API void HpsdrNpRadio_bindep4SeqErrors(HpsdrNpRadio* h, larch_int32_cb callback);
LARCH_API void HpsdrNpRadio_setep4SeqErrors(HpsdrNpRadio* h, int32_t value);
/* Temp: kept and reported. Default 0. */
LARCH_API void HpsdrNpRadio_bindTemp(HpsdrNpRadio* h, larch_double_cb callback);
LARCH_API void HpsdrNpRadio_setTemp(HpsdrNpRadio* h, double value);
/* Current: kept and reported. Default 0. */
LARCH_API void HpsdrNpRadio_bindCurrent(HpsdrNpRadio* h, larch_double_cb callback);
LARCH_API void HpsdrNpRadio_setCurrent(HpsdrNpRadio* h, double value);
/* FwdPwr: kept and reported. Default 0. */
LARCH_API void HpsdrNpRadio_bindFwdPwr(HpsdrNpRadio* h, larch_float_cb callback);
LARCH_API void HpsdrNpRadio_setFwdPwr(HpsdrNpRadio* h, float value);
/* RevPwr: kept and reported. Default 0. */
LARCH_API void HpsdrNpRadio_bindRevPwr(HpsdrNpRadio* h, larch_float_cb callback);
LARCH_API void HpsdrNpRadio_setRevPwr(HpsdrNpRadio* h, float value);
/* Swr: kept and reported. Default 0. */
LARCH_API void HpsdrNpRadio_bindSwr(HpsdrNpRadio* h, larch_float_cb callback);
LARCH_API void HpsdrNpRadio_setSwr(HpsdrNpRadio* h, float value);

/* ----------------------------------------------------------------------------------------------------------------------
   vtrx: a virtual transceiver: one frequency with its mode, spectrum, gain controls and sound path. It is made by
   Radio_addVtrx; one from vtrx_create has no radio and receives nothing.

   It runs from vtrx_start, or from a restart of its radio, until the radio stops or it is removed. In signal arrays of
   the core a baseband frequency f stands for the radio frequency centre - f.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API vtrx* vtrx_create(void);
LARCH_API void vtrx_release(vtrx* h);
/* Opens the sound devices and processes what comes. */
LARCH_API void vtrx_start(vtrx* h);
/* Closes the sound devices and leaves the radio; releasing the handle alone doesn't. */
LARCH_API void vtrx_remove(vtrx* h);
/* Gives it a mode; without one there is no audio, no newSpectrum and no signalStrength. A mode object serves one
   transceiver at a time: before another one gets it, give the first one another mode, or remove it, and wait for its Echo.
   The transceiver holds it, the handle stays the host's. Set both filters again afterwards: they are designed for the
   mode's sample rate. */
LARCH_API void vtrx_setModulation(vtrx* h, modDemod* mode);
/* Pass-band of reception, Hz from the tuned frequency: 300 to 2700 is upper sideband speech, -2700 to -300 lower.
   Default -3000 to 3000. */
LARCH_API void vtrx_setRxFilter(vtrx* h, int32_t low, int32_t high);
/* The same for transmission. Default -3000 to 6000. */
LARCH_API void vtrx_setTxFilter(vtrx* h, int32_t low, int32_t high);
/* Asks the radio for a hardware tuning in Hz without touching vfo. */
LARCH_API void vtrx_setRxFrequency(vtrx* h, int32_t frequency);
/* newSpectrum, inside getRenderUpdates: 2048 values, log10 of power (ten times that is dB, a full-scale carrier on a point
   is about -0.13, 1.13 below the S-meter), from low to high Hz, -20.0 where nothing is known; rate is that of the hardware
   in Hz. Value i shows what lies one step above low + i * (high - low) / 2048; with specZoom below 1 specZoom steps above
   it, and beyond the receiver's band just there. Free the frame with floatArray_delete. About two frames a second in the
   background. */
LARCH_API void vtrx_bindnewSpectrum(vtrx* h, larch_spectrum_cb callback);
/* vfo: tuned frequency in Hz. Default 14095600; told at bind after addVtrx. */
LARCH_API void vtrx_bindvfo(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setvfo(vtrx* h, int32_t value);
/* TxOffset: Hz added to vfo for transmission (split). Default 0. */
LARCH_API void vtrx_bindTxOffset(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setTxOffset(vtrx* h, int32_t value);
/* specFreq: Hz at the centre of the spectrum; computed as vfo + specOffset. Told at bind. */
LARCH_API void vtrx_bindspecFreq(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setspecFreq(vtrx* h, int32_t value);
/* specOffset: Hz from vfo to the centre of the spectrum. Default 0. */
LARCH_API void vtrx_bindspecOffset(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setspecOffset(vtrx* h, int32_t value);
/* specZoom: 1 shows the whole band of the hardware receiver, 2, 4, 8 ... a part; below 1 more than it, as far as the
   radio sends raw ADC samples. Above 0; default 1.0. */
LARCH_API void vtrx_bindspecZoom(vtrx* h, larch_double_cb callback);
LARCH_API void vtrx_setspecZoom(vtrx* h, double value);
/* foregroundDisplay: the host shows this one: spectrum at the full rate, and VOX is active. Default false. */
LARCH_API void vtrx_bindforegroundDisplay(vtrx* h, larch_bool_cb callback);
LARCH_API void vtrx_setforegroundDisplay(vtrx* h, bool value);
/* waterfallSpeed: in the foreground a frame comes 2^waterfallSpeed times as often. Default 0. */
LARCH_API void vtrx_bindwaterfallSpeed(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setwaterfallSpeed(vtrx* h, int32_t value);
/* oversample: kept and reported. Default 1. */
LARCH_API void vtrx_bindoversample(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setoversample(vtrx* h, int32_t value);
/* audioOutput: speaker: a value of Wireless outputDevices, -1 for none. Default: the system's, told at bind. */
LARCH_API void vtrx_bindaudioOutput(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setaudioOutput(vtrx* h, int32_t value);
/* audioInput: microphone: a value of Wireless inputDevices, 0 for none. Default: the system's, told at bind. */
LARCH_API void vtrx_bindaudioInput(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setaudioInput(vtrx* h, int32_t value);
/* muted: no sound, both ways: the devices are closed. Default false. */
LARCH_API void vtrx_bindmuted(vtrx* h, larch_bool_cb callback);
LARCH_API void vtrx_setmuted(vtrx* h, bool value);
/* useResampler: steers the sound by resampling against the drift of the clocks; false: by skips alone. Default true. */
LARCH_API void vtrx_binduseResampler(vtrx* h, larch_bool_cb callback);
LARCH_API void vtrx_setuseResampler(vtrx* h, bool value);
/* rxagc: gain control of reception; the core makes one and tells it at bind. */
LARCH_API void vtrx_bindrxagc(vtrx* h, larch_agc_cb callback);
LARCH_API void vtrx_setrxagc(vtrx* h, agc* value);
/* txagc: gain control of what is heard while transmitting; made with Volume 0.0, told at bind. */
LARCH_API void vtrx_bindtxagc(vtrx* h, larch_agc_cb callback);
LARCH_API void vtrx_settxagc(vtrx* h, agc* value);
/* signalStrength: dB, level in the receive filter: 10 dB for a full-scale carrier. About five times a second, 42
   times with wide FM. */
LARCH_API void vtrx_bindsignalStrength(vtrx* h, larch_double_cb callback);
LARCH_API void vtrx_setsignalStrength(vtrx* h, double value);
/* bandwidthSufficient: false: the radio's rate is below what the mode needs, and there is no audio. Default true. */
LARCH_API void vtrx_bindbandwidthSufficient(vtrx* h, larch_bool_cb callback);
LARCH_API void vtrx_setbandwidthSufficient(vtrx* h, bool value);
/* ADCs: bit n: ADC n feeds it; 3 joins ADC 0 and 1. Default 1. */
LARCH_API void vtrx_bindADCs(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setADCs(vtrx* h, int32_t value);
/* ADC1Gain: linear gain of the second stream of a joined pair. Default 1.0. */
LARCH_API void vtrx_bindADC1Gain(vtrx* h, larch_double_cb callback);
LARCH_API void vtrx_setADC1Gain(vtrx* h, double value);
/* ADC1Phase: its phase in degrees. Default 0.0. */
LARCH_API void vtrx_bindADC1Phase(vtrx* h, larch_double_cb callback);
LARCH_API void vtrx_setADC1Phase(vtrx* h, double value);
/* ptt: transmit; set by the host, VOX or a mode. Default false. */
LARCH_API void vtrx_bindptt(vtrx* h, larch_bool_cb callback);
LARCH_API void vtrx_setptt(vtrx* h, bool value);
/* tune: a steady carrier, 0.99 of full scale, in place of the mode. It doesn't key: set ptt, too; without a mode there is
   silence. Default false. */
LARCH_API void vtrx_bindtune(vtrx* h, larch_bool_cb callback);
LARCH_API void vtrx_settune(vtrx* h, bool value);
/* drive: transmit level 0 to 255. Default 0. */
LARCH_API void vtrx_binddrive(vtrx* h, larch_int32_cb callback);
LARCH_API void vtrx_setdrive(vtrx* h, int32_t value);
/* micLevel: peak of the microphone since the last report, 1.0 is full scale. Default 0.0. */
LARCH_API void vtrx_bindmicLevel(vtrx* h, larch_double_cb callback);
LARCH_API void vtrx_setmicLevel(vtrx* h, double value);
/* useVox: the voice switches ptt. Default false. */
LARCH_API void vtrx_binduseVox(vtrx* h, larch_bool_cb callback);
LARCH_API void vtrx_setuseVox(vtrx* h, bool value);
/* VoxThreshold: level of the microphone that raises ptt, 0 to 1. Default 0.4. */
LARCH_API void vtrx_bindVoxThreshold(vtrx* h, larch_double_cb callback);
LARCH_API void vtrx_setVoxThreshold(vtrx* h, double value);
/* VoxHold: seconds that ptt stays up behind it. Default 0.5. */
LARCH_API void vtrx_bindVoxHold(vtrx* h, larch_double_cb callback);
LARCH_API void vtrx_setVoxHold(vtrx* h, double value);
/* DelayAudio: records five seconds of microphone and then sends them over and over. Default false. */
LARCH_API void vtrx_bindDelayAudio(vtrx* h, larch_bool_cb callback);
LARCH_API void vtrx_setDelayAudio(vtrx* h, bool value);

/* ----------------------------------------------------------------------------------------------------------------------
   agc: gain control of one block of audio after the other: a fixed gain with Enabled false; else a squelch gate when
   Squelch is set; else automatic gain.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API agc* agc_create(void);
LARCH_API void agc_release(agc* h);
/* Enabled: false: the fixed gain of ManualGain. Default true. */
LARCH_API void agc_bindEnabled(agc* h, larch_bool_cb callback);
LARCH_API void agc_setEnabled(agc* h, bool value);
/* Attack: seconds, time constant while the gain falls. Above 0; default 0.01. */
LARCH_API void agc_bindAttack(agc* h, larch_float_cb callback);
LARCH_API void agc_setAttack(agc* h, float value);
/* Decay: seconds, time constant while the gain rises. Above 0; default 0.2. */
LARCH_API void agc_bindDecay(agc* h, larch_float_cb callback);
LARCH_API void agc_setDecay(agc* h, float value);
/* Hang: seconds that the gain stays after its last fall. Default 2.0. */
LARCH_API void agc_bindHang(agc* h, larch_float_cb callback);
LARCH_API void agc_setHang(agc* h, float value);
/* MaxGain: upper limit of the gain in dB. Default 80.0. */
LARCH_API void agc_bindMaxGain(agc* h, larch_float_cb callback);
LARCH_API void agc_setMaxGain(agc* h, float value);
/* Volume: linear factor behind the gain. Default 1.0. */
LARCH_API void agc_bindVolume(agc* h, larch_float_cb callback);
LARCH_API void agc_setVolume(agc* h, float value);
/* Squelch: silence below this level on the scale of vtrx signalStrength; -180.0 or less: no squelch. Default -180.0. */
LARCH_API void agc_bindSquelch(agc* h, larch_float_cb callback);
LARCH_API void agc_setSquelch(agc* h, float value);
/* ManualGain: power of ten of the fixed gain: 1.0 is a gain of 10. Default 1.0. */
LARCH_API void agc_bindManualGain(agc* h, larch_double_cb callback);
LARCH_API void agc_setManualGain(agc* h, double value);

/* ----------------------------------------------------------------------------------------------------------------------
   modDemod: the base of the modes; created as such it is the empty mode: no audio, no transmit signal.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API modDemod* modDemod_create(void);
LARCH_API void modDemod_release(modDemod* h);
/* rxFreq: Hz above the tuned frequency at which PskModDemod and RTTYModDemod receive; the others don't look at it. In
   PskModDemod it follows the signal. Default 0; 1500 in PskModDemod. */
LARCH_API void modDemod_bindrxFreq(modDemod* h, larch_int32_cb callback);
LARCH_API void modDemod_setrxFreq(modDemod* h, int32_t value);
/* txFreq: the same for transmission in JTModDemod. PskModDemod sends at rxFreq and only reports it here. Default 0; 1500
   in JTModDemod. */
LARCH_API void modDemod_bindtxFreq(modDemod* h, larch_int32_cb callback);
LARCH_API void modDemod_settxFreq(modDemod* h, int32_t value);
/* rnnoise: noise reduction on this mode's audio. Default false. */
LARCH_API void modDemod_bindrnnoise(modDemod* h, larch_bool_cb callback);
LARCH_API void modDemod_setrnnoise(modDemod* h, bool value);
/* rnnoiseSquelch: its strength in percent: 0 leaves the audio as it is. 0 to 100; default 80.0. */
LARCH_API void modDemod_bindrnnoiseSquelch(modDemod* h, larch_double_cb callback);
LARCH_API void modDemod_setrnnoiseSquelch(modDemod* h, double value);
/* db1: kept and reported. Default 0. */
LARCH_API void modDemod_binddb1(modDemod* h, larch_int32_cb callback);
LARCH_API void modDemod_setdb1(modDemod* h, int32_t value);

/* ----------------------------------------------------------------------------------------------------------------------
   ssbModDemod: single sideband speech; the filters choose the sideband.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API ssbModDemod* ssbModDemod_create(void);
LARCH_API void ssbModDemod_release(ssbModDemod* h);
/* compression: drive into the speech clipper, 1.0 and up for more. Default 1.0. */
LARCH_API void ssbModDemod_bindcompression(ssbModDemod* h, larch_double_cb callback);
LARCH_API void ssbModDemod_setcompression(ssbModDemod* h, double value);
/* UseMicEQ: shapes the microphone by Wireless DefaultMicEQ. Default true. */
LARCH_API void ssbModDemod_bindUseMicEQ(ssbModDemod* h, larch_bool_cb callback);
LARCH_API void ssbModDemod_setUseMicEQ(ssbModDemod* h, bool value);

/* ----------------------------------------------------------------------------------------------------------------------
   amModDemod: amplitude modulation with carrier. Receives the envelope of what the receive filter passes: set one with
   both sidebands, -4000 to 4000 Hz for example. The microphone is shaped by Wireless DefaultMicEQ, 300 to 3000 Hz. All
   transceivers in this mode share one estimate of the carrier's level: a strong one disturbs the others for some
   milliseconds.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API amModDemod* amModDemod_create(void);
LARCH_API void amModDemod_release(amModDemod* h);
/* compression: drive into the speech clipper, a factor: 0.0 is a bare carrier, 1.0 and up for more. Default 1.0. */
LARCH_API void amModDemod_bindcompression(amModDemod* h, larch_double_cb callback);
LARCH_API void amModDemod_setcompression(amModDemod* h, double value);

/* ----------------------------------------------------------------------------------------------------------------------
   fmModDemod: frequency modulation for speech, 300 to 3000 Hz, with the usual rise on transmit and fall on receive. From
   a deviation of 12000 Hz on it needs a radio at 384000 Hz or more (vtrx bandwidthSufficient tells) and noise reduction
   has no effect. Set the receive filter to the deviation and 3000 Hz more on each side, again after deviation has crossed
   12000, and the transmit filter to the deviation and 9000 Hz more, 24000 at the most: one that cuts the outer sidebands
   makes the envelope uneven and its peaks higher. The microphone is shaped by Wireless DefaultMicEQ.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API fmModDemod* fmModDemod_create(void);
LARCH_API void fmModDemod_release(fmModDemod* h);
/* deviation: peak deviation in Hz; the transmit signal is made at 48000 Hz, so that some 20000 fit into it. Speech
   keeps 85 % of it under a tone. Below 12000.0 narrow, else wide reception. Default 75000.0. */
LARCH_API void fmModDemod_binddeviation(fmModDemod* h, larch_double_cb callback);
LARCH_API void fmModDemod_setdeviation(fmModDemod* h, double value);
/* MaxDeviation: kept and reported, Hz. Default 100000.0. */
LARCH_API void fmModDemod_bindMaxDeviation(fmModDemod* h, larch_double_cb callback);
LARCH_API void fmModDemod_setMaxDeviation(fmModDemod* h, double value);
/* CTCSS: tone in Hz under the speech, at 8.5 % of the deviation, 67.0 to 254.1 by custom; 0 or less for none. At once.
   Default 0.0. */
LARCH_API void fmModDemod_bindCTCSS(fmModDemod* h, larch_double_cb callback);
LARCH_API void fmModDemod_setCTCSS(fmModDemod* h, double value);
/* compression: drive into the speech clipper, a factor: 0.0 is a bare carrier, 1.0 and up for more. Default 1.0. */
LARCH_API void fmModDemod_bindcompression(fmModDemod* h, larch_double_cb callback);
LARCH_API void fmModDemod_setcompression(fmModDemod* h, double value);

/* ----------------------------------------------------------------------------------------------------------------------
   Text modes: cwModDemod, PskModDemod, RTTYModDemod and hellschreiberModDemod send text. The host keeps a growing text
   and hands it over whole each time with QueueText; base is the number of characters that had been sent (counted from
   sentChars) when that text began. What hasn't gone out is replaced, so that it may still be rewritten; what has gone
   out isn't sent again. At most 1,023 bytes wait: of a longer text only the last (length modulo 1,024) stay, without a
   word. "~" ends the transmission; in cwModDemod a line end does, too.

   Text doesn't key the transmitter: set the transceiver's ptt. sentChars brings each character as it leaves the queue.
   ------------------------------------------------------------------------------------------------------------------- */

/* cwModDemod: Morse, by text and by a straight key; the key goes before the text, which waits meanwhile. Edges are shaped
   here, unless the radio's cwInternal is set. Both keys sound the transceiver's sidetone. The verbs take effect on the
   transceiver, in the order of the calls. */
LARCH_API cwModDemod* cwModDemod_create(void);
LARCH_API void cwModDemod_release(cwModDemod* h);
/* Text is keyed while the transceiver's ptt is on: queue it, then set ptt; a ptt without text may fall at once. A "~" or a
   line end (CR, LF) drops ptt and stands for a blank. Letters in either case, digits, blank, "." "!" "?" have a code ("!"
   and "?" sound as each other), "#" is no sound at all, anything else one dot of silence. */
LARCH_API void cwModDemod_QueueText(cwModDemod* h, const char* text, uint32_t base);
/* The straight key. Down also raises the transceiver's ptt, up leaves it to the hang time. The number isn't used. */
LARCH_API void cwModDemod_KeyDown(cwModDemod* h, int32_t unused);
LARCH_API void cwModDemod_KeyUp(cwModDemod* h, int32_t unused);
/* sentChars: one character, as it was queued, when its keying begins. */
LARCH_API void cwModDemod_bindsentChars(cwModDemod* h, larch_text_cb callback);
/* newChars: decoded text, one lower-case letter, digit or blank (between words) a call; none while transmitting. */
LARCH_API void cwModDemod_bindnewChars(cwModDemod* h, larch_text_cb callback);
/* newDebug: nothing calls it. */
LARCH_API void cwModDemod_bindnewDebug(cwModDemod* h, larch_text_cb callback);
/* freq: pitch of the received tone and the sidetone (there in whole Hz, from the next transmission on) in Hz. Default 650.0. */
LARCH_API void cwModDemod_bindfreq(cwModDemod* h, larch_double_cb callback);
LARCH_API void cwModDemod_setfreq(cwModDemod* h, double value);
/* wpm: speed of sent text in words per minute, from the next element on: a dot lasts 1.2 s / wpm. Above 0 (at 0 an element
   lasts for hours, below it has no length); default 20.0. */
LARCH_API void cwModDemod_bindwpm(cwModDemod* h, larch_double_cb callback);
LARCH_API void cwModDemod_setwpm(cwModDemod* h, double value);
/* swHangTime: ms without keying until ptt falls; it stays while the radio's RadioPtt is on. Default 200. */
LARCH_API void cwModDemod_bindswHangTime(cwModDemod* h, larch_int32_cb callback);
LARCH_API void cwModDemod_setswHangTime(cwModDemod* h, int32_t value);
/* sidetoneVolume: level of the sidetone, 1.0 is full scale, 0.0 leaves the receiver's audio alone; taken over while
   transmitting. Default 1.0. */
LARCH_API void cwModDemod_bindsidetoneVolume(cwModDemod* h, larch_double_cb callback);
LARCH_API void cwModDemod_setsidetoneVolume(cwModDemod* h, double value);
/* rxwpm: speed of the decoded signal as the decoder sees it, whole words per minute; it follows the signal by a twentieth
   with each dot and dash that stand side by side. A set is written over with the next block that is received. Default
   20.0; the decoder begins at 45. */
LARCH_API void cwModDemod_bindrxwpm(cwModDemod* h, larch_double_cb callback);
LARCH_API void cwModDemod_setrxwpm(cwModDemod* h, double value);
/* dbg1: kept and reported. Default 0.0. */
LARCH_API void cwModDemod_binddbg1(cwModDemod* h, larch_double_cb callback);
LARCH_API void cwModDemod_setdbg1(cwModDemod* h, double value);
/* dbg2: kept and reported. Default 0.0. */
LARCH_API void cwModDemod_binddbg2(cwModDemod* h, larch_double_cb callback);
LARCH_API void cwModDemod_setdbg2(cwModDemod* h, double value);

/* PskModDemod: PSK31 and relatives on 66 channels at once; frequencies are Hz above the transceiver's. Channels 0 to 29
   (PSK31) and 30 to 59 (PSK63) look for signals by themselves, 60 to 65 are the operator's, one for each mode, tuned by
   rxFreq, at which it also sends. The receive filter must lie on one side of the frequency and end below 4000 Hz: what
   lies beyond folds in. The transmit filter must let the signal through. A transmission begins with a second of idle,
   idles without text, and ends with two seconds of steady carrier, also behind a "~", which drops ptt. Bytes from 128 on
   key no text. */
LARCH_API PskModDemod* PskModDemod_create(void);
LARCH_API void PskModDemod_release(PskModDemod* h);
LARCH_API void PskModDemod_QueueText(PskModDemod* h, const char* text, uint32_t base);
/* sentChars: one character, as it was queued, when the modulator takes it. */
LARCH_API void PskModDemod_bindsentChars(PskModDemod* h, larch_text_cb callback);
/* newChars: text of the primary detector, some characters a call. */
LARCH_API void PskModDemod_bindnewChars(PskModDemod* h, larch_text_cb callback);
/* Modes: choices for mode, six rows. */
LARCH_API void PskModDemod_bindModes(PskModDemod* h, larch_choice_row_cb callback);
LARCH_API void PskModDemod_setModes(PskModDemod* h, int32_t action, int32_t index, ValueLabelItem* item);
LARCH_API void PskModDemod_resetModes(PskModDemod* h);
/* mode: the operator's mode: 0 PSK31, 8 PSK63, 16 PSK125, 1, 9 and 17 their QPSK forms. A set chooses the primary
   detector. Default 0. */
LARCH_API void PskModDemod_bindmode(PskModDemod* h, larch_int32_cb callback);
LARCH_API void PskModDemod_setmode(PskModDemod* h, int32_t value);
/* primaryDetector: index into dets of the detector that the operator follows; a set takes over its mode. Default 60. */
LARCH_API void PskModDemod_bindprimaryDetector(PskModDemod* h, larch_int32_cb callback);
LARCH_API void PskModDemod_setprimaryDetector(PskModDemod* h, int32_t value);
/* dets: the 66 detectors. What a host changes in the list changes nothing in what is detected. */
LARCH_API void PskModDemod_binddets(PskModDemod* h, larch_psk_detector_row_cb callback);
LARCH_API void PskModDemod_setdets(PskModDemod* h, int32_t action, int32_t index, PskDetector* item);
LARCH_API void PskModDemod_resetdets(PskModDemod* h);
/* sigLevel: kept and reported. Default 0. */
LARCH_API void PskModDemod_bindsigLevel(PskModDemod* h, larch_int32_cb callback);
LARCH_API void PskModDemod_setsigLevel(PskModDemod* h, int32_t value);

/* PskDetector: one channel of PskModDemod. */
LARCH_API PskDetector* PskDetector_create(void);
LARCH_API void PskDetector_release(PskDetector* h);
/* newChars: text decoded on this channel. */
LARCH_API void PskDetector_bindnewChars(PskDetector* h, larch_text_cb callback);
/* reset: the channel has been given a new signal; the value is always 1. */
LARCH_API void PskDetector_bindreset(PskDetector* h, larch_int32_cb callback);
/* freq: Hz. Told at bind for the detectors of dets and then every 0.7 s, if it has moved; a set tunes nothing: see rxFreq. */
LARCH_API void PskDetector_bindfreq(PskDetector* h, larch_int32_cb callback);
LARCH_API void PskDetector_setfreq(PskDetector* h, int32_t value);
/* Mode: name of the mode. Told at bind for the detectors of dets. */
LARCH_API void PskDetector_bindMode(PskDetector* h, larch_text_cb callback);
LARCH_API void PskDetector_setMode(PskDetector* h, const char* text);
/* activity: the host's: the higher, the less likely a new signal takes over the channel. Default 0. */
LARCH_API void PskDetector_bindactivity(PskDetector* h, larch_int32_cb callback);
LARCH_API void PskDetector_setactivity(PskDetector* h, int32_t value);
/* signalStrength: kept and reported. Default 0. */
LARCH_API void PskDetector_bindsignalStrength(PskDetector* h, larch_int32_cb callback);
LARCH_API void PskDetector_setsignalStrength(PskDetector* h, int32_t value);

/* RTTYModDemod: radioteletype, 45.45 baud, five bits, 170 Hz shift, 1.5 stop bits.

   On the air: it transmits its mark (1, and the rest between characters) 2170 Hz above the transceiver's frequency and its
   space 2000 Hz above it. These two can't be moved: the transmit filter must let both through. It receives with the mark at
   rxFreq (modDemod_setrxFreq, Hz above the transceiver's frequency, negative below) and the space 170 Hz above that: the
   other way round. So it reads stations whose mark is the lower one of their two tones, which it isn't at the usual shift,
   and two of these modes hear each other through a mirrored spectrum only.

   The receive filter must let both tones through and should keep the rest away: beyond 3000 Hz on either side of the frequency
   signals fold into what is decoded. Characters are the letters (sent in either case, received as capitals), the digits, blank,
   line feed, carriage return and - ' , ! : ( ) + ? & . / =, the pound sign as byte 0xA3, bytes 5 and 7. Whatever else is sent as
   code 0. A blank (at receivers that unshift there, as this one does) and the letters shifts of a pause take a receiver back to
   letters, but not the sender: digits behind them are sent without a new shift, "5 9" is heard as "5 O". A byte 0x0E in the text
   sends the figures shift, 0x0F the letters shift, without changing what the sender takes for its state. */
LARCH_API RTTYModDemod* RTTYModDemod_create(void);
LARCH_API void RTTYModDemod_release(RTTYModDemod* h);
/* A "~" drops ptt while the stop bit before it still runs through the transmit filter: put a blank in front. Without text the
   letters shift is sent, and the transmission goes on. */
LARCH_API void RTTYModDemod_QueueText(RTTYModDemod* h, const char* text, uint32_t base);
/* sentChars: one character, as it was queued, when its frame begins. */
LARCH_API void RTTYModDemod_bindsentChars(RTTYModDemod* h, larch_text_cb callback);
/* newChars: decoded text, one character a call, six a second whether there is a signal or not; an empty text for code 0.
   The same characters, byte 0 included, go to the process's standard output, bound or not, with a line of six numbers and
   "#" and a drift where the receiver has found a new timing. A reader of that output who stops loses text and stops
   nothing. */
LARCH_API void RTTYModDemod_bindnewChars(RTTYModDemod* h, larch_text_cb callback);
/* newDebug: 1024 values, 187.5 a second, for a tuning display: the space tone's level less the mark's; a mark alone in tune is
   -124 times its amplitude. Free them with floatArray_delete. */
LARCH_API void RTTYModDemod_bindnewDebug(RTTYModDemod* h, larch_samples_cb callback);
/* dbg1: kept and reported. Default 0.0. */
LARCH_API void RTTYModDemod_binddbg1(RTTYModDemod* h, larch_double_cb callback);
LARCH_API void RTTYModDemod_setdbg1(RTTYModDemod* h, double value);
/* dbg2: kept and reported. Default 0.0. */
LARCH_API void RTTYModDemod_binddbg2(RTTYModDemod* h, larch_double_cb callback);
LARCH_API void RTTYModDemod_setdbg2(RTTYModDemod* h, double value);

/* hellschreiberModDemod: text as a picture in the waterfall, transmit only: each row of a font of five by eight has a tone of
   its own, the top one 1300 Hz above the transceiver's frequency, and the columns follow each other in time, a blank one
   before each character. The transmit filter must let all rows through (1090 to 1300 Hz by default, and a step more on
   either side). Characters 32 to 127 have a picture, the others are blanks. Without text it is silent, and the transmission
   goes on. On receive the channel is heard, nothing is decoded. */
LARCH_API hellschreiberModDemod* hellschreiberModDemod_create(void);
LARCH_API void hellschreiberModDemod_release(hellschreiberModDemod* h);
/* A "~" drops ptt, and what still fades at the end of the last character is lost: put a blank in front. */
LARCH_API void hellschreiberModDemod_QueueText(hellschreiberModDemod* h, const char* text, uint32_t base);
/* sentChars: one character, as it was queued, when its blank column begins. */
LARCH_API void hellschreiberModDemod_bindsentChars(hellschreiberModDemod* h, larch_text_cb callback);
/* frequencyStep: Hz between rows of the picture, and pixels a second (a column has eight), from the next pixel on. 0.1 to
   160 is of use, default 30.0; at 0, below it or when it is no number the text goes by in silence at the default's pace. */
LARCH_API void hellschreiberModDemod_bindfrequencyStep(hellschreiberModDemod* h, larch_double_cb callback);
LARCH_API void hellschreiberModDemod_setfrequencyStep(hellschreiberModDemod* h, double value);

/* ----------------------------------------------------------------------------------------------------------------------
   JTModDemod: modes in timed slots. The core captures each slot of reception into a file and plays what the host has
   coded; decoder and coder are the host's. Slots begin by the machine's UTC clock, with the first block (10.67 ms) within
   their half-second, and count from the top of each hour; one that comes while a capture still runs is let pass. The
   operator hears the real part of the channel.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API JTModDemod* JTModDemod_create(void);
LARCH_API void JTModDemod_release(JTModDemod* h);
/* A message: tone numbers, fractions allowed, each txFreq + number * toneSpacing Hz above the tuned frequency. It replaces
   the one that waits; one without tones takes that away. It goes out with the next slot, keys ptt, and drops it behind the
   last tone. In slots below a minute it may start late: while ptt is off and fewer than 36,000 values of the slot have
   been captured, three seconds at the defaults; the tones whose time is over are left out. The array stays the host's and is
   read until the message has gone out: don't change it. tag: comes back with newFile as a signed number; 8 means nothing. */
LARCH_API void JTModDemod_queueMsg(JTModDemod* h, floatArray* tones, uint32_t tag);
/* newFile: a slot has been captured and written, as far as the disk took it: the file's name, directly followed by the
   decimal digits of the tag of what was sent in it, 8 for nothing: "dir/261121_220015.wav8", "dir/261121_2200.c2-5". */
LARCH_API void JTModDemod_bindnewFile(JTModDemod* h, larch_text_cb callback);
/* saveDirectory: what stands in front of the file's name, byte by byte, with its separator. The directory must be there.
   Default empty: where the process runs. */
LARCH_API void JTModDemod_bindsaveDirectory(JTModDemod* h, larch_text_cb callback);
LARCH_API void JTModDemod_setsaveDirectory(JTModDemod* h, const char* text);
/* SaveMode: 1 writes .c2 files, I and Q; any other value WAV files, the real part. That of its start holds for a slot.
   Default 0. */
LARCH_API void JTModDemod_bindSaveMode(JTModDemod* h, larch_int32_cb callback);
LARCH_API void JTModDemod_setSaveMode(JTModDemod* h, int32_t value);
/* period: length of a slot in ms, in whole half-seconds, 500 and up; below that none begins. Default 15000. */
LARCH_API void JTModDemod_bindperiod(JTModDemod* h, larch_int32_cb callback);
LARCH_API void JTModDemod_setperiod(JTModDemod* h, int32_t value);
/* Decimation: samples at 48000 Hz for each recorded one, 1 to 512. The others are left out, without a filter: 4 makes the
   12000 Hz of a WAV file, where the receive filter must end below 6000 Hz; 128 the 375 Hz of a .c2 file, in which 1500 Hz
   comes to 0, and the filter must pass no more than 187 Hz on either side of it. 0 and below: no slot begins. Default 4. */
LARCH_API void JTModDemod_bindDecimation(JTModDemod* h, larch_int32_cb callback);
LARCH_API void JTModDemod_setDecimation(JTModDemod* h, int32_t value);
/* samplesPerBlock: recorded values of a slot, I and Q counted each. Smaller: a running capture ends there; larger: from the
   next slot on. With endPadding above 0, a value that grows meanwhile, or falls below what has been recorded, leaves
   " buff slice error" and four numbers, without a line end, on the process's standard output. Default 151200, 12.6 s. */
LARCH_API void JTModDemod_bindsamplesPerBlock(JTModDemod* h, larch_int32_cb callback);
LARCH_API void JTModDemod_setsamplesPerBlock(JTModDemod* h, int32_t value);
/* endPadding: values at the end that are zero instead of received; the block in which they begin is recorded whole.
   Default 0. */
LARCH_API void JTModDemod_bindendPadding(JTModDemod* h, larch_int32_cb callback);
LARCH_API void JTModDemod_setendPadding(JTModDemod* h, int32_t value);
/* samplesPerSymbol: length of a sent tone in samples at 48000 Hz. Default 7680. */
LARCH_API void JTModDemod_bindsamplesPerSymbol(JTModDemod* h, larch_int32_cb callback);
LARCH_API void JTModDemod_setsamplesPerSymbol(JTModDemod* h, int32_t value);
/* toneSpacing: Hz for each tone number, above txFreq. Default 6.25. */
LARCH_API void JTModDemod_bindtoneSpacing(JTModDemod* h, larch_double_cb callback);
LARCH_API void JTModDemod_settoneSpacing(JTModDemod* h, double value);

/* ----------------------------------------------------------------------------------------------------------------------
   fskModDemod: settings of a frequency-shift channel, kept for the host; the core neither sends nor receives it: its audio is
   silence, and a transmission has no signal.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API fskModDemod* fskModDemod_create(void);
LARCH_API void fskModDemod_release(fskModDemod* h);
/* f0: tone of a 0 bit in Hz. Default 0. */
LARCH_API void fskModDemod_bindf0(fskModDemod* h, larch_int32_cb callback);
LARCH_API void fskModDemod_setf0(fskModDemod* h, int32_t value);
/* f1: tone of a 1 bit in Hz. Default 0. */
LARCH_API void fskModDemod_bindf1(fskModDemod* h, larch_int32_cb callback);
LARCH_API void fskModDemod_setf1(fskModDemod* h, int32_t value);
/* baud: symbols a second. Default 0. */
LARCH_API void fskModDemod_bindbaud(fskModDemod* h, larch_int32_cb callback);
LARCH_API void fskModDemod_setbaud(fskModDemod* h, int32_t value);

/* ----------------------------------------------------------------------------------------------------------------------
   chirpyModDemod: an experimental mode without settings. It transmits a test signal, a sweep from 0 to 3000 Hz above the
   transmit frequency in 85 ms and the same turned by half its length, by turns, at a level of 0.97; the microphone isn't
   heard. It receives words of 12 bits in such sweeps, 187.5 bits a second, and keeps them to itself: no audio, no event. The
   receive filter should pass 0 to 3000 Hz. Reception 0.85 s and more after a first transmission leaves 0.16 s of what its two
   filters saw in chirpud3_9.csv in the system's temporary directory, once for each object: up, down and their difference.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API chirpyModDemod* chirpyModDemod_create(void);
LARCH_API void chirpyModDemod_release(chirpyModDemod* h);

/* ----------------------------------------------------------------------------------------------------------------------
   sigGenModDemod: a test transmitter: a carrier at the transmit frequency and one tone beside it, through the transmit
   filter, whatever the microphone hears. Together above 1.0 they aren't limited here: the radio's driver cuts the sum. It
   receives like a direct receiver: the real part of the channel.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API sigGenModDemod* sigGenModDemod_create(void);
LARCH_API void sigGenModDemod_release(sigGenModDemod* h);
/* ampl1: level of the carrier, linear, 1.0 is full scale at the present drive. Default 1.0. */
LARCH_API void sigGenModDemod_bindampl1(sigGenModDemod* h, larch_double_cb callback);
LARCH_API void sigGenModDemod_setampl1(sigGenModDemod* h, double value);
/* ampl2: level of the tone, in the same measure. Default 0.0. */
LARCH_API void sigGenModDemod_bindampl2(sigGenModDemod* h, larch_double_cb callback);
LARCH_API void sigGenModDemod_setampl2(sigGenModDemod* h, double value);
/* freq2: Hz from the transmit frequency, above it. The transmit filter must let it through. Default 200.0. */
LARCH_API void sigGenModDemod_bindfreq2(sigGenModDemod* h, larch_double_cb callback);
LARCH_API void sigGenModDemod_setfreq2(sigGenModDemod* h, double value);

/* ----------------------------------------------------------------------------------------------------------------------
   proxyModDemod: a mode whose signal work the host does. Its two callbacks run on a worker's thread inside the signal
   chain, not in the poll: return within a millisecond, wait for nothing; everything of the transceiver stands meanwhile.
   For one transceiver they never run at once, for two they may. They take no context: one function for each transceiver.

   Samples are complex doubles at 48000 Hz whatever the radio's rate, mirrored as all baseband of the core: a signal above
   the tuned frequency turns clockwise, in both directions. The host owns the arrays that it gets and frees them with
   complexArray_delete, on any thread, but the samples are the chain's own: copy them inside the call; the next block takes
   the same place.

   Binding takes effect with the next block. After binding null one call may still be under way; it has returned when the
   transceiver answers a Ping. Unbound, it is a plain receiver whose transmission is silence. The operator hears the real
   part of the channel.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API proxyModDemod* proxyModDemod_create(void);
LARCH_API void proxyModDemod_release(proxyModDemod* h);
/* rxChunk: 512 received samples, every 10.67 ms, while transmitting, too; behind the receive filter, before any gain
   control: a carrier of L dBFS has the magnitude 10^(L / 20). Read only. */
LARCH_API void proxyModDemod_bindrxChunk(proxyModDemod* h, larch_rx_chunk_cb callback);
/* getTxChunk: write the next 512 samples to be transmitted into out before you return; full scale is 1.0 at the present
   drive. out is cleared, so that what isn't written is silence; it goes through the transmit filter. mic: as many samples
   of the microphone, real, 0.707 at its full scale, 0 without one. Called from key down until the
   radio is unkeyed; not with tune. */
LARCH_API void proxyModDemod_bindgetTxChunk(proxyModDemod* h, larch_tx_chunk_cb callback);

/* ----------------------------------------------------------------------------------------------------------------------
   MultiPskModDemod: the transceiver as a radio for the program MultiPSK over TCP; receive only.

   When a transceiver takes the mode it opens a TCP port on every IPv4 address of the machine. There is no password: whoever
   reaches the port gets the samples and tunes the radio. One client at a time; another one waits until it has gone. The
   client gets 48,000 samples a second from behind the receive filter (open it: -23000, 23000) in blocks of 512, 16 bits for
   each part, at a gain that begins at 20,000,000 and only falls: 32,000 at the highest imaginary part so far. A client that
   reads too slowly misses blocks. It tunes by vtrx's vfo, which reports it; vfo as the host sets it is told to the client
   while samples flow. The port stays open until the object has gone, also while the transceiver has another mode; the
   client is answered then, but tunes nothing. The operator hears the real part of the channel; the mode transmits silence.
   ------------------------------------------------------------------------------------------------------------------- */
LARCH_API MultiPskModDemod* MultiPskModDemod_create(void);
LARCH_API void MultiPskModDemod_release(MultiPskModDemod* h);
/* port: TCP port wanted, read when a transceiver takes the mode; then the one in use, reported when it differs: the next
   free one, of 20 that are tried. When none of them could be had it shows the last one, and the log has a line for each.
   0: one of the system's choice. A later set changes nothing. Default 50001. */
LARCH_API void MultiPskModDemod_bindport(MultiPskModDemod* h, larch_int32_cb callback);
LARCH_API void MultiPskModDemod_setport(MultiPskModDemod* h, int32_t value);
/* connected: a client is there; a report, a set changes nothing. Default false. */
LARCH_API void MultiPskModDemod_bindconnected(MultiPskModDemod* h, larch_bool_cb callback);
LARCH_API void MultiPskModDemod_setconnected(MultiPskModDemod* h, bool value);
/* sending: samples stream to the client. It starts and stops them, and so does a set; a client that goes ends them.
   Default false. */
LARCH_API void MultiPskModDemod_bindsending(MultiPskModDemod* h, larch_bool_cb callback);
LARCH_API void MultiPskModDemod_setsending(MultiPskModDemod* h, bool value);

#ifdef __cplusplus
}
#endif
#endif
