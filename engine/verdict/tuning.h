// What a result may do to a scan. Levels are display levels 0..255 unless they are called linear; shares are of the
// picture's blocks.
#pragma once

namespace verdict {

// ---- what is measured ----

inline constexpr double kEnd = 0.5;       // levels from an end of the scale that count as its end
inline constexpr double kScanEnd = 3.0;   // linear levels from an end at which the scan itself is
inline constexpr double kFaintFrom = 2.5; // difference of neighbouring blocks that makes a faint mark ...
inline constexpr double kFaintTo = 16.0;  // ... and that is no longer faint
inline constexpr double kSeen = 1.0;      // what is left of it at least
inline constexpr double kCastFrom = 24.0; // grays between which a cast is looked for
inline constexpr double kCastTo = 235.0;
inline constexpr double kCastShare = 0.1; // of the picture that is least coloured

// ---- what is allowed ----

struct ResultLimits {
  double clipped;   // share of the picture
  double marksLost; // share of the faint marks
  double lightest;  // what is light is at least so light
  double darkest;   // what is dark is at most so light
  double cast;      // negatives
  double castGrown; // all others
};

inline constexpr ResultLimits kPictureLimits = {
    .clipped = 0.10, .marksLost = 0.25, .lightest = 60.0, .darkest = 225.0, .cast = 70.0, .castGrown = 40.0};
// The paper of a page goes to white as it should.
inline constexpr ResultLimits kPageLimits = {
    .clipped = 2.0, .marksLost = 0.9, .lightest = 100.0, .darkest = 254.0, .cast = 70.0, .castGrown = 40.0};

// ---- leaving a scan as it is ----

// Linear levels through which the curve of no change is laid.
inline constexpr double kUnchangedLight = 250.0;
inline constexpr double kUnchangedDark = 10.0;

} // namespace verdict
