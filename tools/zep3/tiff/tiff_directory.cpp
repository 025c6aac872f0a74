// Numbers in the file's byte order; every offset and count is checked against the file's size.
#include "tiff/tiff_directory.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "failure.h"

TiffTypeSize SizeOfTiffType(uint16_t type) {
  if (type == TIFF_RATIONAL || type == TIFF_SRATIONAL) return {4, 2};
  if (type == TIFF_NOTYPE || type > TIFF_IFD8) return {};
  return {static_cast<size_t>(TIFFDataWidth(static_cast<TIFFDataType>(type)))};
}

TaggedFile::TaggedFile(TIFF* tiff)
    : bigEndian(TIFFIsBigEndian(tiff) != 0),
      big(TIFFIsBigTIFF(tiff) != 0),
      size(TIFFGetSizeProc(tiff)(TIFFClientdata(tiff))),
      m_tiff(tiff),
      m_directory(TIFFCurrentDirOffset(tiff)) {}

void TaggedFile::Fail(const char* what) const {
  throw Failure(std::string(TIFFFileName(m_tiff)) + ": " + what, Cause::kUnreadable);
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
  if (!entries) Fail("the page's directory cannot be read");
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

void TaggedFile::ReplacePageDirectory(const Directory& entries, uint64_t link) {
  m_directory = WriteDirectory(entries, NumberAt(NextLink(), OffsetBytes()));
  Bytes offset;
  Put(offset, m_directory, OffsetBytes());
  Write(link, offset);
}

void TaggedFile::Seek(uint64_t position, const char* what) {
  const toff_t at = TIFFGetSeekProc(m_tiff)(TIFFClientdata(m_tiff), position, SEEK_SET);
  if (at != position) Fail(what);
}

// Nothing when any of it lies outside of the file.
std::optional<Bytes> TaggedFile::Read(uint64_t position, uint64_t count) {
  if (position > size || count > size - position) return {};
  Bytes bytes(static_cast<size_t>(count));
  Seek(position, "cannot be read");
  const auto wanted = static_cast<tmsize_t>(count);
  if (TIFFGetReadProc(m_tiff)(TIFFClientdata(m_tiff), bytes.data(), wanted) != wanted) Fail("cannot be read");
  return bytes;
}

uint64_t TaggedFile::NumberAt(uint64_t position, size_t width) {
  const auto bytes = Read(position, width);
  if (!bytes) Fail("a directory lies outside of the file");
  return Number(bytes->data(), width);
}

uint64_t TaggedFile::EndOfEntries(uint64_t directory) {
  return directory + CountBytes() + NumberAt(directory, CountBytes()) * EntryBytes();
}

void TaggedFile::Write(uint64_t position, const Bytes& bytes) {
  Seek(position, "cannot be written");
  Bytes copy = bytes; // libtiff's procedures take what may be changed
  const auto wanted = static_cast<tmsize_t>(copy.size());
  if (TIFFGetWriteProc(m_tiff)(TIFFClientdata(m_tiff), copy.data(), wanted) != wanted) Fail("cannot be written");
}

uint64_t TaggedFile::Append(const Bytes& bytes) {
  const uint64_t position = size + size % 2; // TIFF wants even offsets
  if (!big && position + bytes.size() > UINT32_MAX) Fail("too large for a TIFF that is no BigTIFF");
  Write(position, bytes);
  size = position + bytes.size();
  return position;
}
