// The signal path of the sound streams takes no memory.
#include "audio/audioInputRef.h"
#include "audio/audioOutputStream.h"
#include "tests/support/allocationCounter.h"
#include <gtest/gtest.h>

using namespace larch;

TEST(audioAllocationTest, chunksAndCallbacksTakeNoMemory) {
  audioOutputStream out;
  out.openOutput(900); // no machine has it: the ring works all the same
  inputDeviceList list;
  list.entries.push_back(std::make_unique<audioInputDevice>("None", -1, 48000));
  list.entries.push_back(std::make_unique<audioInputDevice>("device", -1, 44100));
  audioInputRef in(&list);
  in.setInput(1);
  buff<float> chunk(512, 0.5f), heard(126);
  float stereo[512];
  out.keyA.exchange(true);
  const int64_t before = test::allocationsOfThisThread();
  for (int i = 0; i < 200; i++) {
    out.write(chunk, i % 2 == 0);
    out.play(stereo, 256, i * 256 / 48000.0);
    list.entries[1]->record(chunk.data, 512);
    in.readMicrophone(heard);
  }
  EXPECT_EQ(test::allocationsOfThisThread() - before, 0);
}
