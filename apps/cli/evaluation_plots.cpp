#include "apps/cli/evaluation_plots.h"

#include <cairo.h>
#include <fmt/format.h>
#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>
#include <optional>
#include <utility>
#include <vector>

#include "zubra/platform/base/undefined.h"
#include "zubra/platform/util/exception.h"

namespace zubra::cli {
namespace {

constexpr const char* kFontFamily = "DejaVu Sans";
constexpr const char* kSvgFontFamily = "DejaVu Sans, Verdana, sans-serif";

struct Colour {
  double r = 0;
  double g = 0;
  double b = 0;
};

constexpr Colour kBlack{0, 0, 0};
constexpr Colour kWhite{1, 1, 1};
constexpr Colour kGrid{0.88, 0.88, 0.88};
constexpr Colour kGreyCell{0.74, 0.74, 0.74};
constexpr Colour kCurve{0.12, 0.38, 0.68};
constexpr Colour kMean{0.85, 0.42, 0.05};
constexpr Colour kNegative{0.13, 0.40, 0.67};
constexpr Colour kPositive{0.70, 0.09, 0.17};

std::string Hex(const Colour& c) {
  const auto byte = [](double v) {
    return static_cast<int>(std::lround(std::clamp(v, 0.0, 1.0) * 255));
  };
  return fmt::format("#{:02x}{:02x}{:02x}", byte(c.r), byte(c.g), byte(c.b));
}

std::string XmlEscape(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

enum class Anchor { kStart, kMiddle, kEnd };

// What a plot is made of, in pixels from the top left corner.
struct Item {
  enum class Kind { kPolyline, kRect, kText };
  Kind kind = Kind::kPolyline;
  std::vector<std::pair<double, double>> points;  // polyline
  double x = 0, y = 0, w = 0, h = 0;              // rectangle; x, y: a text's anchor (baseline)
  std::optional<Colour> fill;
  std::optional<Colour> stroke;
  double line_width = 1;
  bool dashed = false;
  std::string text;
  double size = 12;
  Anchor anchor = Anchor::kStart;
  bool vertical = false;  // read from bottom to top
  bool bold = false;
};

// The owner of one Cairo object, released by `release`.
template <typename T, void (*release)(T*)>
struct CairoDeleter {
  void operator()(T* object) const { release(object); }
};
using Surface =
    std::unique_ptr<cairo_surface_t, CairoDeleter<cairo_surface_t, cairo_surface_destroy>>;
using Context = std::unique_ptr<cairo_t, CairoDeleter<cairo_t, cairo_destroy>>;

void CheckCairo(cairo_status_t status) {
  if (status != CAIRO_STATUS_SUCCESS) {
    throw Exception(ExceptionMessage::translate("The plot cannot be drawn: {}") %
                    cairo_status_to_string(status));
  }
}

void SelectFont(cairo_t* cr, double size, bool bold) {
  cairo_select_font_face(cr, kFontFamily, CAIRO_FONT_SLANT_NORMAL,
                         bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(cr, size);
}

// A plot as a list of items, rendered by Cairo to PNG and written as SVG by hand.
class Scene {
 public:
  Scene(double width, double height) : width_(width), height_(height) {}

  [[nodiscard]] double Width() const { return width_; }
  [[nodiscard]] double Height() const { return height_; }

  void Line(std::vector<std::pair<double, double>> points, Colour colour, double width,
            bool dashed = false) {
    Item item;
    item.kind = Item::Kind::kPolyline;
    item.points = std::move(points);
    item.stroke = colour;
    item.line_width = width;
    item.dashed = dashed;
    items_.push_back(std::move(item));
  }
  void Rect(double x, double y, double w, double h, std::optional<Colour> fill,
            std::optional<Colour> stroke, double line_width = 1) {
    Item item;
    item.kind = Item::Kind::kRect;
    item.x = x;
    item.y = y;
    item.w = w;
    item.h = h;
    item.fill = fill;
    item.stroke = stroke;
    item.line_width = line_width;
    items_.push_back(std::move(item));
  }
  void Text(double x, double y, std::string text, double size, Anchor anchor, bool vertical = false,
            bool bold = false, Colour colour = kBlack) {
    Item item;
    item.kind = Item::Kind::kText;
    item.x = x;
    item.y = y;
    item.text = std::move(text);
    item.size = size;
    item.anchor = anchor;
    item.vertical = vertical;
    item.bold = bold;
    item.fill = colour;
    items_.push_back(std::move(item));
  }

  // The advance of `text` in the plot's font.
  static double TextWidth(const std::string& text, double size, bool bold = false) {
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1));
    const Context cr(cairo_create(surface.get()));
    SelectFont(cr.get(), size, bold);
    cairo_text_extents_t extents;
    cairo_text_extents(cr.get(), text.c_str(), &extents);
    return extents.x_advance;
  }

  [[nodiscard]] std::string ToPng() const {
    const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32,
                                                     static_cast<int>(std::ceil(width_)),
                                                     static_cast<int>(std::ceil(height_))));
    CheckCairo(cairo_surface_status(surface.get()));
    const Context context(cairo_create(surface.get()));
    cairo_t* cr = context.get();
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    for (const Item& item : items_) Draw(cr, item);
    CheckCairo(cairo_status(cr));
    cairo_surface_flush(surface.get());
    std::string bytes;
    CheckCairo(cairo_surface_write_to_png_stream(
        surface.get(),
        [](void* closure, const unsigned char* data, unsigned int length) {
          static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
          return CAIRO_STATUS_SUCCESS;
        },
        &bytes));
    return bytes;
  }

  [[nodiscard]] std::string ToSvg() const {
    std::string svg = fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0:g}\" height=\"{1:g}\" "
        "viewBox=\"0 0 {0:g} {1:g}\" font-family=\"{2}\">\n"
        "<rect x=\"0\" y=\"0\" width=\"{0:g}\" height=\"{1:g}\" fill=\"#ffffff\"/>\n",
        width_, height_, kSvgFontFamily);
    for (const Item& item : items_) svg += SvgOf(item);
    return svg + "</svg>\n";
  }

 private:
  static void SetColour(cairo_t* cr, const Colour& c) { cairo_set_source_rgb(cr, c.r, c.g, c.b); }

  static void Draw(cairo_t* cr, const Item& item) {
    switch (item.kind) {
      case Item::Kind::kPolyline: {
        if (item.points.empty()) return;
        cairo_new_path(cr);
        for (const auto& [x, y] : item.points) cairo_line_to(cr, x, y);
        SetColour(cr, *item.stroke);
        cairo_set_line_width(cr, item.line_width);
        const double dash[] = {6, 4};
        cairo_set_dash(cr, dash, item.dashed ? 2 : 0, 0);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        cairo_stroke(cr);
        cairo_set_dash(cr, dash, 0, 0);
        return;
      }
      case Item::Kind::kRect:
        cairo_rectangle(cr, item.x, item.y, item.w, item.h);
        if (item.fill) {
          SetColour(cr, *item.fill);
          cairo_fill_preserve(cr);
        }
        if (item.stroke) {
          SetColour(cr, *item.stroke);
          cairo_set_line_width(cr, item.line_width);
          cairo_stroke(cr);
        }
        cairo_new_path(cr);
        return;
      case Item::Kind::kText: {
        SelectFont(cr, item.size, item.bold);
        cairo_text_extents_t extents;
        cairo_text_extents(cr, item.text.c_str(), &extents);
        const double shift = item.anchor == Anchor::kStart    ? 0
                             : item.anchor == Anchor::kMiddle ? -extents.x_advance / 2
                                                              : -extents.x_advance;
        cairo_save(cr);
        cairo_translate(cr, item.x, item.y);
        if (item.vertical) cairo_rotate(cr, -std::numbers::pi / 2);
        cairo_move_to(cr, shift, 0);
        SetColour(cr, item.fill.value_or(kBlack));
        cairo_show_text(cr, item.text.c_str());
        cairo_new_path(cr);
        cairo_restore(cr);
        return;
      }
    }
  }

  static std::string SvgOf(const Item& item) {
    switch (item.kind) {
      case Item::Kind::kPolyline: {
        std::string points;
        for (const auto& [x, y] : item.points) {
          points += fmt::format("{}{:.2f},{:.2f}", points.empty() ? "" : " ", x, y);
        }
        return fmt::format(
            "<polyline points=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"{:g}\" "
            "stroke-linejoin=\"round\"{}/>\n",
            points, Hex(*item.stroke), item.line_width,
            item.dashed ? " stroke-dasharray=\"6 4\"" : "");
      }
      case Item::Kind::kRect:
        return fmt::format(
            "<rect x=\"{:.2f}\" y=\"{:.2f}\" width=\"{:.2f}\" height=\"{:.2f}\" fill=\"{}\"{}/>\n",
            item.x, item.y, item.w, item.h, item.fill ? Hex(*item.fill) : "none",
            item.stroke ? fmt::format(R"( stroke="{}" stroke-width="{:g}")", Hex(*item.stroke),
                                      item.line_width)
                        : "");
      case Item::Kind::kText: {
        const char* anchor = item.anchor == Anchor::kStart    ? "start"
                             : item.anchor == Anchor::kMiddle ? "middle"
                                                              : "end";
        return fmt::format(
            "<text x=\"{0:.2f}\" y=\"{1:.2f}\" font-size=\"{2:g}\" text-anchor=\"{3}\" "
            "fill=\"{4}\"{5}{6}>{7}</text>\n",
            item.x, item.y, item.size, anchor, Hex(item.fill.value_or(kBlack)),
            item.bold ? " font-weight=\"bold\"" : "",
            item.vertical ? fmt::format(" transform=\"rotate(-90 {:.2f} {:.2f})\"", item.x, item.y)
                          : "",
            XmlEscape(item.text));
      }
    }
    return {};
  }

  double width_;
  double height_;
  std::vector<Item> items_;
};

// Round tick values covering lo..hi, about `count` of them: steps of 1, 2, 2.5 or 5 times a
// power of ten.
std::vector<double> NiceTicks(double lo, double hi, int count) {
  const double span = hi - lo;
  if (!(span > 0) || !std::isfinite(span)) return {lo};
  const double rough = span / count;
  const double magnitude = std::pow(10.0, std::floor(std::log10(rough)));
  double step = magnitude;
  for (const double factor : {1.0, 2.0, 2.5, 5.0, 10.0}) {
    step = factor * magnitude;
    if (step >= rough) break;
  }
  std::vector<double> ticks;
  for (double t = std::ceil(lo / step - 1e-9) * step; t <= hi + step * 1e-9; t += step) {
    ticks.push_back(std::abs(t) < step * 1e-9 ? 0.0 : t);
  }
  return ticks;
}

std::string TickText(double value) { return fmt::format("{:g}", value); }

Colour CorrelationColour(double r) {
  if (IsUndefined(r) || !std::isfinite(r)) return kGreyCell;
  const double t = std::clamp(r, -1.0, 1.0);
  const Colour& end = t < 0 ? kNegative : kPositive;
  const double a = std::abs(t);
  return {1 + (end.r - 1) * a, 1 + (end.g - 1) * a, 1 + (end.b - 1) * a};
}

RenderedPlot Render(const Scene& scene) { return {scene.ToPng(), scene.ToSvg()}; }

}  // namespace

RenderedPlot PlotFdsCurve(const PredictionVariance::Results& variance) {
  const std::vector<std::pair<double, double>> curve = variance.FdsCurve(101);
  if (variance.singular || curve.empty()) {
    throw Exception(
        ExceptionMessage::translate("The design is singular: it has no "
                                    "fraction-of-design-space curve."));
  }
  constexpr double kWidth = 720;
  constexpr double kHeight = 480;
  constexpr double kLeft = 84;
  constexpr double kRight = 24;
  constexpr double kTop = 48;
  constexpr double kBottom = 62;
  const double plot_w = kWidth - kLeft - kRight;
  const double plot_h = kHeight - kTop - kBottom;
  double top = 0;
  for (const auto& point : curve) top = std::max(top, point.second);
  if (!(top > 0)) top = 1;
  std::vector<double> y_ticks = NiceTicks(0, top, 6);
  if (y_ticks.back() < top) {
    const double step = y_ticks.size() > 1 ? y_ticks[1] - y_ticks[0] : top;
    y_ticks.push_back(y_ticks.back() + step);
  }
  const double y_max = y_ticks.back();
  const auto px = [&](double x) { return kLeft + x * plot_w; };
  const auto py = [&](double y) { return kTop + plot_h * (1 - y / y_max); };

  Scene scene(kWidth, kHeight);
  scene.Text(kWidth / 2, 30, "Fraction of design space", 16, Anchor::kMiddle, false, true);
  for (const double y : y_ticks) {
    scene.Line({{kLeft, py(y)}, {kLeft + plot_w, py(y)}}, kGrid, 1);
    scene.Line({{kLeft - 5, py(y)}, {kLeft, py(y)}}, kBlack, 1);
    scene.Text(kLeft - 8, py(y) + 4, TickText(y), 11, Anchor::kEnd);
  }
  for (int i = 0; i <= 5; ++i) {
    const double x = i / 5.0;
    scene.Line({{px(x), kTop}, {px(x), kTop + plot_h}}, kGrid, 1);
    scene.Line({{px(x), kTop + plot_h}, {px(x), kTop + plot_h + 5}}, kBlack, 1);
    scene.Text(px(x), kTop + plot_h + 19, TickText(x), 11, Anchor::kMiddle);
  }
  std::vector<std::pair<double, double>> points;
  points.reserve(curve.size());
  for (const auto& [x, y] : curve) points.emplace_back(px(x), py(y));
  scene.Line(std::move(points), kCurve, 2.2);
  if (!IsUndefined(variance.mean)) {
    scene.Line({{kLeft, py(variance.mean)}, {kLeft + plot_w, py(variance.mean)}}, kMean, 1.5, true);
    scene.Text(kLeft + 8, py(variance.mean) - 6, fmt::format("mean {:.4g}", variance.mean), 11,
               Anchor::kStart, false, false, kMean);
  }
  scene.Rect(kLeft, kTop, plot_w, plot_h, std::nullopt, kBlack, 1);
  scene.Text(kLeft + plot_w / 2, kHeight - 16, "Fraction of the region", 13, Anchor::kMiddle);
  scene.Text(24, kTop + plot_h / 2, "Relative prediction variance", 13, Anchor::kMiddle, true);
  return Render(scene);
}

RenderedPlot PlotCorrelationMap(const AliasMatrix::Correlations& correlations,
                                int potential_columns) {
  const auto n = static_cast<int>(correlations.names.size());
  if (n == 0 || correlations.matrix.rows() != n || correlations.matrix.cols() != n) {
    throw Exception(
        ExceptionMessage::translate("There are no columns to draw a correlation "
                                    "map of."));
  }
  const double cell = std::clamp(560.0 / n, 12.0, 44.0);
  const double font = std::clamp(cell * 0.62, 8.0, 12.0);
  double longest = 0;
  for (const std::string& name : correlations.names) {
    longest = std::max(longest, Scene::TextWidth(name, font));
  }
  const double map = cell * n;
  const double left = 20 + longest + 8;
  const double top = 52;
  const double bar_x = left + map + 28;
  constexpr double kBarWidth = 18;
  const double width = bar_x + kBarWidth + 56;
  const double height = std::max(top + map + 8 + longest + 24, top + 260.0);

  Scene scene(width, height);
  scene.Text(width / 2, 30, "Correlation map", 16, Anchor::kMiddle, false, true);
  bool any_grey = false;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const double r = correlations.matrix(i, j);
      any_grey = any_grey || IsUndefined(r) || !std::isfinite(r);
      scene.Rect(left + j * cell, top + i * cell, cell, cell, CorrelationColour(r), kWhite, 0.5);
      if (cell >= 34 && !IsUndefined(r) && std::isfinite(r)) {
        scene.Text(left + (j + 0.5) * cell, top + (i + 0.5) * cell + 3.5, fmt::format("{:.2f}", r),
                   9.5, Anchor::kMiddle, false, false, std::abs(r) > 0.6 ? kWhite : kBlack);
      }
    }
  }
  if (potential_columns > 0 && potential_columns < n) {
    const double split = (n - potential_columns) * cell;
    scene.Line({{left + split, top}, {left + split, top + map}}, kBlack, 1.5);
    scene.Line({{left, top + split}, {left + map, top + split}}, kBlack, 1.5);
  }
  scene.Rect(left, top, map, map, std::nullopt, kBlack, 1);
  for (int i = 0; i < n; ++i) {
    const std::string& name = correlations.names[static_cast<std::size_t>(i)];
    scene.Text(left - 6, top + (i + 0.5) * cell + font * 0.35, name, font, Anchor::kEnd);
    scene.Text(left + (i + 0.5) * cell + font * 0.35, top + map + 6, name, font, Anchor::kEnd,
               true);
  }

  // The colour scale, +1 at the top.
  const double bar_h = std::min(map, 240.0);
  constexpr int kSteps = 64;
  for (int k = 0; k < kSteps; ++k) {
    const double r = 1 - 2.0 * (k + 0.5) / kSteps;
    scene.Rect(bar_x, top + k * bar_h / kSteps, kBarWidth, bar_h / kSteps + 0.5,
               CorrelationColour(r), std::nullopt);
  }
  scene.Rect(bar_x, top, kBarWidth, bar_h, std::nullopt, kBlack, 1);
  for (const double r : {1.0, 0.5, 0.0, -0.5, -1.0}) {
    const double y = top + bar_h * (1 - r) / 2;
    scene.Line({{bar_x + kBarWidth, y}, {bar_x + kBarWidth + 4, y}}, kBlack, 1);
    scene.Text(bar_x + kBarWidth + 7, y + 4, TickText(r), 10, Anchor::kStart);
  }
  scene.Text(bar_x + kBarWidth / 2, top - 8, "r", 12, Anchor::kMiddle, false, true);
  if (any_grey) {
    scene.Rect(bar_x, top + bar_h + 14, kBarWidth, 12, kGreyCell, kBlack, 0.5);
    scene.Text(bar_x + kBarWidth + 5, top + bar_h + 24, "constant", 10, Anchor::kStart);
  }
  return Render(scene);
}

void ReleasePlotFonts() {
  cairo_debug_reset_static_data();
  FcFini();
}

}  // namespace zubra::cli
