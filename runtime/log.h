// The one log file and the dump file beside it.
#pragma once
#include <fmt/core.h>
#include <string>

namespace larch {

enum class logLevel { info, error };

// Opens `path` for appending (up to 5 attempts, 10 ms apart), lines end in CR LF, flush on error; the logger "mainlog" becomes
// the default one. mode 1 logs info and errors, any other value errors only. Throws when the file can't be opened.
void openLog(const std::string& path, int mode);

// Any thread; before openLog lines go to the console logger of the logging library. Not rt: takes the sink's lock.
void writeLog(logLevel level, const std::string& line);

template <class... A> void logError(fmt::format_string<A...> text, A&&... args) {
  writeLog(logLevel::error, fmt::format(text, std::forward<A>(args)...));
}
template <class... A> void logInfo(fmt::format_string<A...> text, A&&... args) {
  writeLog(logLevel::info, fmt::format(text, std::forward<A>(args)...));
}

// The dump file is `<log path>.dump.txt` and holds the last unknown exception only: the word, a blank, the name.
void setDumpPath(const std::string& path);
void writeDump(const char* word, const char* name);

} // namespace larch
