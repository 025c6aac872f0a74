// A page of a TIFF file as if the file had no other. libvips counts the pages of a file whenever it opens one.
#pragma once

#include <memory>
#include <string>

#include "own_source.h"
#include "tiff_pages.h"

// Throws Failure. The place's directory must be known.
std::unique_ptr<ByteStream> OpenTiffPage(const std::string& path, TiffPlace place);
