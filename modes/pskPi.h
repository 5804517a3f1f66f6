// The value of pi that the PSK modem calculates with; its detector has the full one.
#pragma once

namespace larch {

constexpr double pskPi = 3.1415927; // required: eight digits

} // namespace larch
