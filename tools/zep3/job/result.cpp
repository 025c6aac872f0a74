// What the name, the option and the scan's content say of the result.
#include "job/result.h"

#include <filesystem>
#include <string>

#include "failure.h"
#include "log.h"
#include "opening/to_rgb.h"

namespace fs = std::filesystem;

const Format& ResultFormat(const Job& job, const Options& options, const Scan& scan) {
  const Format* byName = FormatOfName(job.result);
  if (options.format != nullptr) {
    if (job.named && byName != nullptr && byName != options.format) {
      throw Failure("the name " + job.result + " says " + std::string(byName->name) + ", --format " +
                    std::string(options.format->name));
    }
    return *options.format;
  }
  const Format* byContent = scan.FileFormat();
  if (job.named) {
    if (byName == nullptr)
      throw Failure("the name " + job.result +
                    " says no format that results are written in (.tif, .png, .jpg, .webp, .ppm)");
    return *byName;
  }
  if (byContent == nullptr) throw Failure("results are not written in its format; --format tif takes another");
  if (byName != nullptr && byName != byContent) {
    throw Failure("is a " + std::string(byContent->name) + " file by its content, though its name says " +
                  std::string(byName->name) + "; rename it, or name the result");
  }
  return *byContent;
}

void CheckPages(const Scan& scan, const Job& job, const Options& options, const Format& format) {
  const bool tiff = format.name == "tiff" && scan.IsTiff();
  if (scan.Pages() > 1 && format.name != "tiff") {
    throw Failure("has " + std::to_string(scan.Pages()) + " pages, which are kept in TIFF only (--format tif); " +
                  job.scan + "[page=0] names one");
  }
  for (int page = 0; page < scan.Pages(); page++) {
    const bool changed = (!tiff || !scan.IsBilevel(page)) && !ConversionOf(scan.Head(page)).empty();
    if (changed && options.inPlace && options.noBackup)
      throw Failure("has colours that are not RGB, which would be lost without a backup");
    if (scan.IsTiff() && scan.Layout(page).subImages) {
      if (options.inPlace && options.noBackup) throw Failure("holds sub-images, which would be lost without a backup");
      Say(job.scan + ": sub-images of a page are left out");
    }
  }
}

SaveOptions SaveOptionsOf(const Job& job, const Options& options, const Format& format) {
  const bool named = FormatOfName(job.result) == &format;
  const std::string suffix = named ? fs::path(job.result).extension().string() : std::string(format.extensions.front());
  return {&format, suffix, options.saver, options.strip};
}

PendingFile::Sync SyncOf(const Options& options) {
  return options.noSync ? PendingFile::Sync::kNo : PendingFile::Sync::kYes;
}

bool IsTaken(const Job& job, const Options& options) {
  const bool isNew = !options.inPlace && job.result != "-" && !options.overwrite;
  return isNew && fs::exists(fs::symlink_status(job.result));
}

Outcome Exists(const Job& job) {
  if (job.named) throw Failure(job.result + " exists; --overwrite replaces it");
  return {Status::kSkipped, job.result + " exists"};
}
