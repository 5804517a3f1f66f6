#include "sim/sceneReader.h"

namespace larch::sim {

// A lively evening on 40 m, made to fill 192 kHz around 7.1 MHz, and a little beside it. Call signs of a series that is given to nobody.
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
answer 7.0390M -72 wpm=25 call=Q6SIM cq="CQ CQ CQ CQ DE Q6SIM Q6SIM Q6SIM K" cq_pause=8 text="R R DE Q6SIM Q6SIM GM ES TNX FER CALL UR RST 599 599 NAME IS LARRY LARRY HW? DE Q6SIM K"
# PSK and radioteletype
psk 7.04005M -84 mode=bpsk31 text="CQ CQ de Q4DAY Q4DAY, dipole in the garden, pse k" pause=5
psk 7.04030M -72 mode=bpsk31 text="CQ CQ CQ de Q1PSK Q1PSK Q1PSK pse k" pause=4
psk 7.04055M -80 mode=bpsk31 text="Q7XYZ de Q4FOX = name is Ada Ada = qth North Hill = hw cpy? Q7XYZ de Q4FOX kn" pause=9
psk 7.04070M -88 mode=bpsk31 text="The quick brown fox jumps over the lazy dog. 0123456789" pause=3 rate_error=120
psk 7.04090M -76 mode=qpsk31 text="CQ CQ de Q2SIM Q2SIM, four phases here, pse k" pause=6
psk 7.04110M -95 mode=bpsk31 text="de Q8QRP, 1 W to a wire, test test" pause=5 fade=12,0.1
psk 7.04130M -70 mode=bpsk31 text="CQ CQ de Q3BAR Q3BAR. The weather here is fine and the bands are open." pause=7 drift=0.02
psk 7.04160M -82 mode=bpsk63 text="CQ CQ CQ de Q5LIB Q5LIB Q5LIB, sixty-three baud, pse k" pause=4
psk 7.04195M -78 mode=bpsk63 text="Q5LIB de Q9TST = all OK, ur 599 599 = 73 es gl de Q9TST sk" pause=8 fade=15,0.05
psk 7.04230M -85 mode=qpsk63 text="QRZ? QRZ? de Q6SIM Q6SIM, four phases, sixty-three baud" pause=6
psk 7.04250M -79 mode=bpsk31 text="Q3BAR de Q9SKY Q9SKY = ur 579 579 = name Otto = hw? Q3BAR de Q9SKY kn" pause=6
psk 7.04270M -74 mode=bpsk31 text="CQ DX CQ DX de Q7XYZ/P Q7XYZ/P" pause=5 rate_error=-80
rtty 7.0470M -70 text="CQ CQ TEST DE Q1RTY Q1RTY Q1RTY CQ" pause=5
rtty 7.0480M -78 reverse=yes text="RYRYRYRY DE Q2SIM Q2SIM 599 042 599 042 K" pause=7
cw 7.0450M -88 wpm=12 text="PARIS PARIS PARIS" pause=2

# speech
usb 7.1000M -58 voice=en-gb speed=150 pause=1.5 text="C Q, C Q, C Q forty metres. This is quebec five lima india bravo, quebec five lima india bravo, calling C Q and standing by for any call. The weather here is cold and clear, and the band sounds lively tonight."
usb 7.1120M -74 voice=en-us speed=170 pause=3 text="Good evening. You are five and nine here with a very fine signal. My name is Larry, and the radio is a simulator on the bench. Over."
lsb 7.1480M -66 voice=en-gb speed=160 pause=2 text="Quebec two sierra india mike, this net is open every evening at eight o'clock. Please give your call sign and your location, and wait for your turn."
lsb 7.1705M -82 voice=de speed=150 pause=4 text="Hallo und guten Abend in die Runde. Hier ist das Wetter schlecht und die Antenne steht noch."

# a broadcaster above the amateur band
am 7.2100M -55 depth=0.8 voice=en-gb speed=160 pause=2 fade=10,0.1 text="This is the bench broadcasting service on seven thousand two hundred and ten kilohertz. Here is the news. The carrier was steady all day, and no fault was found."

# on 10 m and below it: a repeater with its tone, and a station for receivers of 384 kHz
fm 29.6000M -62 deviation=2500 ctcss=88.5 voice=en-us speed=165 pause=4 text="This is the Q nine r p t repeater on twenty nine decimal six megahertz, tone eighty eight decimal five. Please leave a pause between overs."
fm 29.0000M -55 deviation=75000 voice=en-gb speed=155 pause=2 text="You are listening to the wide station. It takes two hundred kilohertz, and a receiver that is fast enough, to hear it well."
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
