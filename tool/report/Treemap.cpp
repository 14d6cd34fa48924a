#include "report/Treemap.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "bex/stream/Escape.hpp"
#include "output/Text.hpp"
#include "report/Html.hpp"

namespace bex::tool {

namespace {

constexpr double kWidth = 1160;
constexpr double kHeight = 620;
// In units of the drawing; a label is cut by columns, since no font can be measured here.
constexpr double kLabelHeight = 14;
constexpr double kCharacterWidth = 6.6;
// What is smaller is left out: nobody sees it, and a page with each of 100,000 files would be too large.
constexpr double kSmallestSide = 3;
constexpr int kColours = 11;

struct Rectangle {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double shorter() const noexcept { return std::min(width, height); }
    bool isVisible() const noexcept { return shorter() >= kSmallestSide; }
    Rectangle inside(double top, double border) const noexcept {
        return {x + border, y + top, std::max(0.0, width - 2 * border), std::max(0.0, height - top - border)};
    }
};

/// Rectangles for areas that fall and add up to the whole's, near to squares: Bruls, Huizing and van Wijk,
/// "Squarified Treemaps" (2000).
class Squares {
public:
    explicit Squares(const Rectangle& whole) : left_(whole) {}

    std::vector<Rectangle> layOut(const std::vector<double>& areas) {
        for (std::size_t begin = 0; begin < areas.size();) {
            // A row grows as long as its worst rectangle does not become narrower; then what is left gets the
            // next row.
            std::size_t end = begin + 1;
            double sum = areas[begin];
            while (end < areas.size() &&
                   worst(areas, begin, end + 1, sum + areas[end]) <= worst(areas, begin, end, sum)) {
                sum += areas[end++];
            }
            addRow(areas, begin, end, sum);
            begin = end;
        }
        return std::move(result_);
    }

private:
    /// The ratio of the sides of the row's least square rectangle.
    double worst(const std::vector<double>& areas, std::size_t begin, std::size_t end, double sum) const {
        // Areas fall, so that the first of the row is its longest and the last its shortest.
        const double side = left_.shorter();
        const double thickness = sum / side;
        const double longest = areas[begin] / thickness;
        const double shortest = areas[end - 1] / thickness;
        return std::max(longest / thickness, thickness / shortest);
    }

    void addRow(const std::vector<double>& areas, std::size_t begin, std::size_t end, double sum) {
        const bool isColumn = left_.width >= left_.height;
        // After rounding, nothing may be left for the last row: the smallest number stands for it.
        const double thickness = sum / std::max(left_.shorter(), 1e-9);
        double along = 0;
        for (std::size_t i = begin; i < end; ++i) {
            const double length = areas[i] / std::max(thickness, 1e-9);
            if (isColumn) {
                result_.push_back({left_.x, left_.y + along, thickness, length});
            } else {
                result_.push_back({left_.x + along, left_.y, length, thickness});
            }
            along += length;
        }
        if (isColumn) {
            left_.x += thickness;
            left_.width = std::max(0.0, left_.width - thickness);
        } else {
            left_.y += thickness;
            left_.height = std::max(0.0, left_.height - thickness);
        }
    }

    Rectangle left_;
    std::vector<Rectangle> result_;
};

/// How well a node compresses, as one of kColours steps.
int colourOf(const SizeTree::Node& node) {
    if (node.size == 0) {
        return 0;
    }
    const double share = static_cast<double>(node.packed) / static_cast<double>(node.size);
    return static_cast<int>(std::clamp(share, 0.0, 1.0) * (kColours - 1) + 0.5);
}

class Drawing {
public:
    explicit Drawing(const SizeTree& tree) : tree_(tree) {}

    std::string draw() {
        drawChildren(SizeTree::kRoot, {0, 0, kWidth, kHeight}, "");
        return fmt::format(
            "<svg viewBox=\"0 0 {} {}\" role=\"img\" aria-label=\"Treemap of the payload; the tables "
            "below have its figures\">\n{}</svg>\n",
            kWidth, kHeight, svg_);
    }

private:
    void drawChildren(std::size_t number, const Rectangle& place, const std::string& path) {
        const SizeTree::Node& node = tree_.node(number);
        // The border takes room from the parent, so that each level has a scale of its own.
        const double scale = place.width * place.height / std::max<double>(1, static_cast<double>(node.size));
        std::vector<double> areas;
        std::transform(node.children.begin(), node.children.end(), std::back_inserter(areas),
                       [&](std::size_t child) { return scale * static_cast<double>(tree_.node(child).size); });
        const std::vector<Rectangle> places = Squares(place).layOut(areas);
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (places[i].isVisible()) {
                drawNode(node.children[i], places[i], path + tree_.node(node.children[i]).name);
            }
        }
    }

    /// `path` is not escaped. Directories with nothing but a directory share its rectangle.
    void drawNode(std::size_t number, const Rectangle& place, std::string path) {
        const SizeTree::Node* node = &tree_.node(number);
        std::string label = node->name;
        while (node->isDirectory && node->children.size() == 1 && tree_.node(node->children[0]).isDirectory) {
            number = node->children[0];
            node = &tree_.node(number);
            label += "/" + node->name;
            path += "/" + node->name;
        }
        const bool hasLabel = place.height >= kLabelHeight + 4 && place.width >= 3 * kCharacterWidth;
        svg_ += fmt::format(
            "<g><rect class=\"{} c{}\" x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\">"
            "<title>{}: {} bytes, {} compressed</title></rect>",
            node->isDirectory ? "d" : "f", colourOf(*node), place.x, place.y, place.width, place.height,
            htmlText(path), node->size, node->packed);
        if (hasLabel) {
            drawLabel(label, place);
        }
        svg_ += "</g>\n";
        if (node->isDirectory) {
            const Rectangle inner = place.inside(hasLabel ? kLabelHeight + 2 : 2, 2);
            if (inner.isVisible()) {
                drawChildren(number, inner, path + "/");
            }
        }
    }

    void drawLabel(const std::string& label, const Rectangle& place) {
        const auto columns = static_cast<std::size_t>((place.width - 4) / kCharacterWidth);
        const std::string shown = cutToColumns(stream::escapeForDisplay(label), columns);
        svg_ += fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\">{}</text>", place.x + 3, place.y + kLabelHeight - 2,
                            htmlOfDisplayed(shown));
    }

    const SizeTree& tree_;
    std::string svg_;
};

}  // namespace

std::string treemapSvg(const SizeTree& tree) {
    return Drawing(tree).draw();
}

std::string treemapLegend() {
    std::string html = "<p class=\"legend\">Compressed share: ";
    for (int colour = 0; colour < kColours; ++colour) {
        html += fmt::format("<span class=\"k{}\">{} %</span>", colour, colour * 100 / (kColours - 1));
    }
    return html + "</p>\n";
}

}  // namespace bex::tool
