// The directories of a TIFF file as they are stored. libtiff gives rationals as floating point, changes types, and
// drops what it has no definition of: fields that pass through it come out changed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include <tiffio.h>

using Bytes = std::vector<uint8_t>;

struct Entry {
  uint16_t tag = 0, type = 0;
  uint64_t count = 0;
  std::array<uint8_t, 8> value{}; // as stored: the data itself, or its offset when it does not fit
};

using Directory = std::map<uint16_t, Entry>; // in the order that TIFF prescribes

// Bytes of one number of a type, 0 when TIFF has no such type; and, as rationals have two, numbers of one value.
struct TiffTypeSize {
  size_t number = 0, numbers = 1;
  size_t Bytes() const { return number * numbers; }
};
TiffTypeSize SizeOfTiffType(uint16_t type);

// A file that libtiff has opened, around the directory of one page; read and written by way of libtiff's handle, so
// that it is the same file. Whatever the file says is checked against its size. Throws Failure when the file cannot be
// read or written.
class TaggedFile {
 public:
  // Around the page that the handle stands at.
  explicit TaggedFile(TIFF* tiff);

  bool bigEndian = false, big = false; // big: a BigTIFF
  uint64_t size = 0;                   // bytes

  size_t OffsetBytes() const { return big ? 8 : 4; }

  // Positions of the offsets that lead to the first page's directory and on from that of the page around which this is.
  uint64_t FirstLink() const { return big ? 8 : 4; }
  uint64_t NextLink() { return EndOfEntries(m_directory); }
  // From here on around the page to which the offset at this position leads.
  void Follow(uint64_t link) { m_directory = NumberAt(link, OffsetBytes()); }

  // Numbers in the file's byte order.
  uint64_t Number(const uint8_t* bytes, size_t width) const;
  void Put(Bytes& bytes, uint64_t number, size_t width) const;

  // Nothing when there cannot be a directory. Of entries with the same tag the first counts.
  std::optional<Directory> ReadDirectory(uint64_t offset);
  Directory PageDirectory();

  // 0 when the type is unknown, or the file has not so many.
  uint64_t DataBytes(const Entry& entry) const;
  // Nothing when it lies outside of the file.
  std::optional<Bytes> Data(const Entry& entry);

  // At the end of the file.
  Entry Store(uint16_t tag, uint16_t type, const Bytes& data);
  uint64_t WriteDirectory(const Directory& entries, uint64_t next);

  // The offset at `link`, which leads to it, changes last: until then the file reads as before.
  void ReplacePageDirectory(const Directory& entries, uint64_t link);

 private:
  size_t CountBytes() const { return big ? 8 : 2; }
  size_t EntryBytes() const { return 4 + 2 * OffsetBytes(); }
  std::optional<Bytes> Read(uint64_t position, uint64_t count);
  uint64_t NumberAt(uint64_t position, size_t width);
  uint64_t EndOfEntries(uint64_t directory);
  void Write(uint64_t position, const Bytes& bytes);
  uint64_t Append(const Bytes& bytes);

  void Seek(uint64_t position, const char* what);
  [[noreturn]] void Fail(const char* what) const;

  TIFF* m_tiff;
  uint64_t m_directory = 0; // position
};
