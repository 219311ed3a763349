#pragma once

#include <cstddef>
#include <vector>

#include "host/fit/FitPlots.h"

namespace qvhost {

/// The points of a receiver operating characteristic, of which any number come, and a bounded
/// number is kept: those nearest to each of the places that divide the curve evenly, at both sides
/// of them, and at the end those from which the curve through them departs least (Ramer, An
/// iterative procedure for the polygonal approximation of plane curves, Computer Graphics and Image
/// Processing 1, 1972). The curve through those is nowhere further from that of all points than
/// about 1/1000 and what the points that do not fit in leave.
///
/// One thread at a time.
class RocPoints {
 public:
  /// For records of so much weight with the level, and without; both above 0. What is added may
  /// differ from them by rounding.
  RocPoints(double having, double others) : having_(having), others_(others) {}

  /// The weights of records with the level, and without, whose probability of it is up to some
  /// value that grows from call to call.
  void Add(double having, double others);

  /// After the last point, that of all records: up to `most` points, 2 or more, from (0, 0) to (1,
  /// 1).
  [[nodiscard]] std::vector<RocCurve::Point> Thinned(std::size_t most) const;

 private:
  struct Weights {
    double having;
    double others;
  };

  static constexpr double kPlaces = 2000.0;

  double having_;
  double others_;
  std::vector<Weights> points_;  ///< The first and the last of each stretch between two places.
  double stretch_ = -1.0;        ///< That of the latest point,
  bool isAlone_ = false;         ///< the first in it.
};

}  // namespace qvhost
