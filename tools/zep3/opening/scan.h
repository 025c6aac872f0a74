// A scan file: what it is, its pages, and how to open one of them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <vips/vips8>

#include "files/file_state.h"
#include "files/formats.h"
#include "opening/admission.h"
#include "opening/pnm.h"
#include "tiff/tiff_layout.h"

class Scan {
 public:
  // Reads the file's head: its first bytes alone say which loader sees more of it. `name` may end in options for
  // libvips in brackets; "-" is standard input. Throws Failure for what is no image, or none that is admitted.
  Scan(const std::string& name, const Admission& admission);

  // Page `page`, to be read from top to bottom once.
  // Damage in the file is an error, not a gray patch. Throws Failure for pictures that no table can correct.
  vips::VImage Open(int page) const;
  // The same without its pixels.
  vips::VImage Head(int page) const;

  // Throws Failure when the file has been changed or replaced since its head was read, as pixels may then come from
  // either; also when a read failed and no library noticed.
  void CheckUnchanged() const;

  int Pages() const { return m_pages; }
  const std::string& Path() const { return m_path; }
  // Null when results cannot be written in the scan's format.
  const Format* FileFormat() const { return IsOnDemand(*m_format) ? nullptr : m_format; }
  // Of its content, whether results are written in it or not.
  const Format& Content() const { return *m_format; }
  bool IsTiff() const { return !m_layouts.empty(); }
  // True when no options for libvips change what Open() gives.
  bool IsPlainFile() const { return m_options.empty(); }
  // The page in the file that Open(page) reads; TIFF only.
  const TiffLayout& Layout(int page) const { return m_layouts.at(static_cast<size_t>(FilePage(page))); }
  int FilePage(int page) const { return m_firstPage + page; }
  TiffPlace Place(int page) const {
    return {static_cast<unsigned>(FilePage(page)), IsTiff() ? Layout(page).directory : 0};
  }
  // A thumbnail or pyramid layer of a page before it: corrected as that.
  bool IsReduced(int page) const { return IsTiff() && page > 0 && Layout(page).reduced; }
  // Black and white only: kept as it is.
  bool IsBilevel(int page) const { return IsTiff() && Layout(page).IsBilevel(); }

 private:
  using Options = std::vector<std::pair<std::string, std::string>>;
  vips::VImage Load(int page, Options options) const;
  vips::VImage LoadStream(std::unique_ptr<ByteStream> stream, const Options& options) const;
  void CheckPng() const;
  void CheckWebp() const;
  void CheckTiffPage(const TiffLayout& layout) const;
  void CheckDecoder(const vips::VImage& header, int page) const;

  std::string m_path;
  FileState m_file; // when it was opened
  std::string m_options;
  Admission m_admission;
  const Format* m_format = nullptr;
  PnmHead m_pnm;       // of such files alone
  int m_firstPage = 0; // where the user asks for one
  int m_pages = 1;
  std::vector<TiffLayout> m_layouts;
  std::shared_ptr<ReadFault> m_fault = std::make_shared<ReadFault>();
};

// The error of libvips or its codecs, in one line without repetitions; their warnings where the error gives no reason.
std::string LibraryReason(const vips::VError& error);
