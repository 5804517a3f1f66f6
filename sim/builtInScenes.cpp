#include "sim/sceneReader.h"

namespace larch::sim {

// A lively evening on 40 m, made to fill 192 kHz around 7.1 MHz. Call signs of a series that is given to nobody.
const char* demoSceneText() {
  return R"(
noise -150

# steady carriers at known levels
carrier 7.050M -50
carrier 7.060M -70
carrier 7.070M -90
carrier 7.080M -110
carrier 7.1385M -95
carrier 7.1905M -80

# keyed carriers
cw 7.0080M -78 wpm=26 text="CQ TEST DE Q1ABC Q1ABC TEST" pause=2
cw 7.0123M -92 wpm=18 text="CQ CQ DE Q7XYZ Q7XYZ PSE K" pause=4
cw 7.0201M -68 wpm=22 text="Q5LIB DE Q2SIM = GM UR RST 599 599 = NAME IS LARRY = RIG IS A SIMULATOR = HW? Q5LIB DE Q2SIM KN" pause=6
cw 7.0256M -101 wpm=14 text="VVV VVV DE Q8QRP = 5 W TO A DIPOLE = QRZ?" pause=3
cw 7.0302M -84 wpm=30 text="QRL? QRL? CQ DE Q4FOX Q4FOX" pause=5
cw 7.0365M -74 wpm=20 text="CQ CQ CQ DE Q3BAR Q3BAR Q3BAR +" pause=3
# calls, and answers whoever calls it
cw 7.0390M -72 wpm=20 text="CQ CQ CQ DE Q6SIM Q6SIM Q6SIM K" pause=20
answer 7.0390M -72 wpm=20 call=Q6SIM text="R R DE Q6SIM Q6SIM = TNX FER CALL = UR RST 599 599 = NAME IS LARRY = HW? DE Q6SIM K"
cw 7.0450M -88 wpm=12 text="PARIS PARIS PARIS" pause=2

# speech
usb 7.1000M -58 voice=en-gb speed=150 pause=1.5 text="C Q, C Q, C Q forty metres. This is quebec five lima india bravo, quebec five lima india bravo, calling C Q and standing by for any call. The weather here is cold and clear, and the band sounds lively tonight."
usb 7.1120M -74 voice=en-us speed=170 pause=3 text="Good evening. You are five and nine here with a very fine signal. My name is Larry, and the radio is a simulator on the bench. Over."
lsb 7.1480M -66 voice=en-gb speed=160 pause=2 text="Quebec two sierra india mike, this net is open every evening at eight o'clock. Please give your call sign and your location, and wait for your turn."
lsb 7.1705M -82 voice=de speed=150 pause=4 text="Hallo und guten Abend in die Runde. Hier ist das Wetter schlecht und die Antenne steht noch."
)";
}

const char* carriersSceneText() {
  return R"(
noise -150
carrier 1.850M -60
carrier 3.650M -60
carrier 7.100M -60
carrier 7.101M -80
carrier 7.110M -100
carrier 10.120M -60
carrier 14.100M -60
carrier 14.101M -80
carrier 21.200M -60
carrier 28.500M -60
carrier 50.150M -60
carrier 144.300M -60
)";
}

} // namespace larch::sim
