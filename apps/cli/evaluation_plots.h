// The plots of `zubra evaluate --plots`: the fraction-of-design-space curve and the
// correlation map, each drawn once and written as PNG (Cairo) and as SVG.
#pragma once

#include <string>

#include "zubra/evaluation/alias_matrix.h"
#include "zubra/evaluation/prediction_variance.h"

namespace zubra::cli {

// One plot in both forms: the bytes of a PNG file and the text of an SVG document. The SVG
// keeps its labels as text (selectable, searchable); both come from one layout, measured with
// the same font (DejaVu Sans, the fallback sans-serif face elsewhere).
struct RenderedPlot {
  std::string png;
  std::string svg;
};

// The fraction-of-design-space curve: the relative prediction variance (y) that each share
// of the region (x, 0..1) does not exceed, with the mean as a dashed line. Throws Exception
// when `variance` is singular (there is no curve) or Cairo fails.
RenderedPlot PlotFdsCurve(const PredictionVariance::Results& variance);

// The correlation map: one cell per pair of columns coloured from -1 (blue) through 0
// (white) to +1 (red), grey where a column does not vary; the names on both axes and a colour
// scale. The last `potential_columns` columns (the terms left out of the model) are set off
// by a line. Throws Exception when there are no columns or Cairo fails.
RenderedPlot PlotCorrelationMap(const AliasMatrix::Correlations& correlations,
                                int potential_columns);

// Cairo and fontconfig keep the fonts they have looked up for the life of the process; this
// hands them back.
// Call it only when no plot is being drawn: the tool does so once its plots are rendered.
void ReleasePlotFonts();

}  // namespace zubra::cli
