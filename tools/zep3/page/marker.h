// Marker on a gray page.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/zep3.h"

// Makes marker half as dark in gray as its luma is: a pixel as light as paper in one channel, and of a clear colour,
// becomes a gray between its luma and its lightest channel. Programs that read choose one level for a page, below which
// all is ink; pink and orange marker lie below it, with what is written there. Pixels of R, G, B and perhaps a fourth
// sample; ink, whose lightest channel is dark, stays, and so does what has no colour.
template <class Sample>
void LightenMarker(Sample* first, int64_t pixels, int samples);

// Of every cell of a surface whether it belongs to a picture, whose light colours are no marker: of what is kept as a
// whole, pictures have dark parts, marker and tinted boxes have none but ink. `levels` are of the page made small by
// `shrink`, R G B of linear levels, as the surface was found on them.
std::vector<uint8_t> FindPictures(const ZEP3_SURFACE& surface, const uint8_t* levels, int64_t width, int64_t height,
                                  int64_t shrink);

// LightenMarker where no picture is, on a piece of a line that begins at a place of the surface's page. Without
// `pictures` there are none.
template <class Sample>
void LightenMarkerBesidePictures(Sample* first, int64_t pixels, int samples, int64_t x, int64_t y,
                                 const ZEP3_SURFACE& surface, const std::vector<uint8_t>& pictures);
