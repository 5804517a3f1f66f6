// The one thread on which all TCP sockets of the process are served.
#pragma once
#include <boost/asio/io_context.hpp>

namespace larch {

// The first call starts the thread. Never destroyed: the thread may be at work while the process ends.
boost::asio::io_context& networkContext();

} // namespace larch
