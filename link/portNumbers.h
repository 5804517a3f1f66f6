// The port numbers that the links of this process have taken, so that they don't compete for one.
#pragma once
#include <cstdint>
#include <mutex>
#include <set>

namespace larch {

class portNumbers {
 public:
  static portNumbers& shared(); // never destroyed

  int32_t claim(int32_t from); // the first number from here on that nobody has: the caller has it now
  void share(int32_t number);  // the caller has it, too: another one that claims it can't listen there, or has just ended
  void giveBack(int32_t number);

 private:
  std::mutex guard_; // transceivers attach their modes side by side
  std::multiset<int32_t> taken_;
};

} // namespace larch
