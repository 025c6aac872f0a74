#include "tiff_directory.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include <tiffio.h>

#include "failure.h"

TiffTypeSize SizeOfTiffType(uint16_t type) {
  if (type == TIFF_RATIONAL || type == TIFF_SRATIONAL) return {4, 2};
  if (type == TIFF_NOTYPE || type > TIFF_IFD8) return {};
  return {static_cast<size_t>(TIFFDataWidth(static_cast<TIFFDataType>(type)))};
}

TaggedFile::TaggedFile(const std::string& path, TiffPlace place, std::ios::openmode mode) : m_path(path) {
  m_stream.open(path, mode | std::ios::in | std::ios::binary);
  if (!m_stream) throw Failure(path + ": cannot be opened");
  size = std::filesystem::file_size(path);
  bigEndian = NumberAt(0, 2) == TIFF_BIGENDIAN; // the same number in either order
  big = NumberAt(2, 2) == TIFF_VERSION_BIG;
  m_directory = place.directory;
  if (place.IsKnown()) return;
  m_link = FirstLink();
  for (unsigned i = 0; i < place.page; ++i) m_link = EndOfEntries(NumberAt(m_link, OffsetBytes()));
  m_directory = NumberAt(m_link, OffsetBytes());
}

uint64_t TaggedFile::Number(const uint8_t* bytes, size_t width) const {
  uint64_t number = 0;
  for (size_t i = 0; i < width; ++i) number = number << 8 | bytes[bigEndian ? i : width - 1 - i];
  return number;
}

void TaggedFile::Put(Bytes& bytes, uint64_t number, size_t width) const {
  for (size_t i = 0; i < width; ++i) {
    bytes.push_back(static_cast<uint8_t>(number >> 8 * (bigEndian ? width - 1 - i : i)));
  }
}

std::optional<Directory> TaggedFile::ReadDirectory(uint64_t offset) {
  const auto head = Read(offset, CountBytes());
  const uint64_t count = head ? Number(head->data(), CountBytes()) : 0;
  if (count == 0 || count > UINT16_MAX) return {};
  const auto bytes = Read(offset + CountBytes(), count * EntryBytes());
  if (!bytes) return {};
  Directory entries;
  for (const uint8_t* at = bytes->data(); at != bytes->data() + bytes->size(); at += EntryBytes()) {
    Entry entry;
    entry.tag = static_cast<uint16_t>(Number(at, 2));
    entry.type = static_cast<uint16_t>(Number(at + 2, 2));
    entry.count = Number(at + 4, OffsetBytes());
    std::copy_n(at + 4 + OffsetBytes(), OffsetBytes(), entry.value.begin());
    entries.emplace(entry.tag, entry);
  }
  return entries;
}

Directory TaggedFile::PageDirectory() {
  auto entries = ReadDirectory(m_directory);
  if (!entries) throw Failure(m_path + ": the page's directory cannot be read");
  return *std::move(entries);
}

uint64_t TaggedFile::DataBytes(const Entry& entry) const {
  const size_t each = SizeOfTiffType(entry.type).Bytes();
  return each == 0 || entry.count > size / each ? 0 : entry.count * each;
}

std::optional<Bytes> TaggedFile::Data(const Entry& entry) {
  const uint64_t bytes = DataBytes(entry);
  if (bytes > OffsetBytes()) return Read(Number(entry.value.data(), OffsetBytes()), bytes);
  return Bytes(entry.value.begin(), entry.value.begin() + static_cast<std::ptrdiff_t>(bytes));
}

Entry TaggedFile::Store(uint16_t tag, uint16_t type, const Bytes& data) {
  Entry entry{tag, type, data.size() / SizeOfTiffType(type).Bytes(), {}};
  Bytes value = data;
  if (data.size() > OffsetBytes()) {
    value.clear();
    Put(value, Append(data), OffsetBytes());
  }
  std::copy(value.begin(), value.end(), entry.value.begin());
  return entry;
}

uint64_t TaggedFile::WriteDirectory(const Directory& entries, uint64_t next) {
  Bytes bytes;
  Put(bytes, entries.size(), CountBytes());
  for (const auto& [tag, entry] : entries) {
    Put(bytes, tag, 2);
    Put(bytes, entry.type, 2);
    Put(bytes, entry.count, OffsetBytes());
    bytes.insert(bytes.end(), entry.value.begin(), entry.value.begin() + static_cast<std::ptrdiff_t>(OffsetBytes()));
  }
  Put(bytes, next, OffsetBytes());
  return Append(bytes);
}

void TaggedFile::ReplacePageDirectory(const Directory& entries) {
  const uint64_t written = WriteDirectory(entries, NumberAt(EndOfEntries(m_directory), OffsetBytes()));
  Bytes link;
  Put(link, written, OffsetBytes());
  Write(m_link, link);
  if (!m_stream.flush()) throw Failure(m_path + ": cannot be written, " + std::strerror(errno));
}

// Nothing when any of it lies outside of the file.
std::optional<Bytes> TaggedFile::Read(uint64_t position, uint64_t count) {
  if (position > size || count > size - position) return {};
  Bytes bytes(static_cast<size_t>(count));
  m_stream.seekg(static_cast<std::streamoff>(position));
  m_stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
  if (!m_stream) throw Failure(m_path + ": cannot be read");
  return bytes;
}

uint64_t TaggedFile::NumberAt(uint64_t position, size_t width) {
  const auto bytes = Read(position, width);
  if (!bytes) throw Failure(m_path + ": a directory lies outside of the file");
  return Number(bytes->data(), width);
}

uint64_t TaggedFile::EndOfEntries(uint64_t directory) {
  return directory + CountBytes() + NumberAt(directory, CountBytes()) * EntryBytes();
}

void TaggedFile::Write(uint64_t position, const Bytes& bytes) {
  m_stream.seekp(static_cast<std::streamoff>(position));
  m_stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!m_stream) throw Failure(m_path + ": cannot be written, " + std::strerror(errno));
}

uint64_t TaggedFile::Append(const Bytes& bytes) {
  const uint64_t position = size + size % 2; // TIFF wants even offsets
  if (!big && position + bytes.size() > UINT32_MAX) throw Failure(m_path + ": too large for a TIFF that is no BigTIFF");
  Write(position, bytes);
  size = position + bytes.size();
  return position;
}
