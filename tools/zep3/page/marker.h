// Marker on a gray page.
#pragma once

#include <cstdint>

// Makes marker half as dark in gray as its luma is: a pixel as light as paper in one channel, and of a clear colour,
// becomes a gray between its luma and its lightest channel. Programs that read choose one level for a page, below which
// all is ink; pink and orange marker lie below it, with what is written there. Pixels of R, G, B and perhaps a fourth
// sample; ink, whose lightest channel is dark, stays, and so does what has no colour.
template <class Sample>
void LightenMarker(Sample* first, int64_t pixels, int samples);
