#include "name_list.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "failure.h"
#include "interrupt.h"

NameList::NameList(const std::string& path, char separator)
    : m_path(path),
      m_separator(separator),
      m_file(path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (m_file < 0 && !IsInterrupted()) throw UsageError("cannot read the list " + path + ": " + std::strerror(errno));
}

NameList::~NameList() {
  if (m_file > STDIN_FILENO) ::close(m_file);
}

std::optional<std::string> NameList::Next() {
  for (size_t searched = 0;;) {
    const size_t end = m_read.find(m_separator, searched);
    if (end != std::string::npos || (m_ended && !m_read.empty())) {
      std::string name = m_read.substr(0, end);
      m_read.erase(0, end == std::string::npos ? end : end + 1);
      return name;
    }
    if (m_ended || IsInterrupted()) return std::nullopt;
    searched = m_read.size();
    std::array<char, 4096> lot = {};
    const ssize_t count = ::read(m_file, lot.data(), lot.size());
    if (count < 0 && errno != EINTR) throw UsageError("cannot read the list " + m_path + ": " + std::strerror(errno));
    m_ended = count == 0;
    if (count > 0) m_read.append(lot.data(), static_cast<size_t>(count));
  }
}
