// The copy engine. Each target row gets its source row in the target's format and at the target's
// bit positions, and one row operation combines them.
#include "platform/gdi/blit.h"

#include "platform/gdi/rop.h"

#include <algorithm>

BlitAxis blit_axis(int64_t target, int64_t tsize, int64_t source, int64_t ssize)
{
    BlitAxis a{ target, source, std::abs(tsize), std::abs(ssize), (tsize < 0) != (ssize < 0),
                ssize < 0 };
    const int corner = a.mirror ? 1 : 0;
    if (tsize < 0)
        a.target += tsize + corner;
    if (ssize < 0)
        a.source += ssize + corner;
    return a;
}

namespace {

// The part of an axis that the source holds, and the source pixels of each target pixel.
class AxisMap {
public:
    AxisMap(const BlitAxis& axis, int source_limit, bool merge);

    int64_t begin() const { return begin_; }  // target pixels that have a source
    int64_t end() const { return begin_ + count_; }
    // First and last source pixel of a target pixel.
    void range(int64_t target, int* first, int* last) const;

private:
    BlitAxis axis_;
    bool merge_;
    int64_t begin_, count_, lead_;
    int limit_;
};

// A source box over the edge loses its outer parts, and the target box the same parts on the same
// sides, even of a mirrored copy; the scale stays that of the full boxes.
AxisMap::AxisMap(const BlitAxis& axis, int limit, bool merge)
    : axis_(axis), merge_(merge && axis.source_size > axis.target_size), limit_(limit)
{
    const int64_t n = axis.target_size, m = axis.source_size;
    const int64_t before = std::clamp<int64_t>(-axis.source, 0, m);
    const int64_t after = std::clamp<int64_t>(axis.source + m - limit, 0, m - before);
    lead_ = (before * n + m - 1) / m;
    begin_ = axis.target + lead_;
    count_ = std::max<int64_t>(0, n - lead_ - (after * n + m - 1) / m);
}

void AxisMap::range(int64_t target, int* first, int* last) const
{
    const int64_t at = target - begin_;
    const int64_t k = lead_ + (axis_.mirror ? count_ - 1 - at : at);
    const int64_t n = axis_.target_size, m = axis_.source_size;
    int64_t low = k * m / n, high = low;
    if (merge_) {
        low = (k * m + n - 1) / n;
        high = ((k + 1) * m + n - 1) / n - 1;
        if (n == 1 && !axis_.source_negative)
            high--;  // all merged into one pixel: the last one isn't counted
    }
    const auto inside = [&](int64_t v) {
        return int(std::clamp<int64_t>(axis_.source + v, 0, limit_ - 1));
    };
    *first = inside(low);
    *last = std::max(*first, inside(high));
}

// A packed row at the bit positions of the target's columns x1 to x2.
class ScratchRow {
public:
    ScratchRow(int bits, int x1, int x2)
        : bits_(bits), skip_(size_t(x1) * size_t(bits) / 8),
          x_(bits < 8 ? int((size_t(x1) * size_t(bits) - skip_ * 8) / size_t(bits)) : 0),
          bytes_(((size_t(x_) + size_t(x2 - x1)) * size_t(bits) + 7) / 8 + 1)
    {
    }
    uint8_t* data() { return bytes_.data(); }
    int x() const { return x_; }  // of column x1 in data()
    void pack(const uint32_t* pixels, int n) { pack_row(pixels, bits_, x_, n, data()); }
    // As the row operation wants it: where the target row's column 0 would be.
    const uint8_t* shifted() { return bytes_.data() - skip_; }

private:
    int bits_;
    size_t skip_;
    int x_;
    std::vector<uint8_t> bytes_;
};

} // namespace

static std::unique_ptr<PatternRows> pattern_rows(const GdiBlit& blit, const GdiPaint& paint,
                                                 const Box& part)
{
    if (!rop_uses_pattern(blit.rop) || paint.kind == GdiPaint::Kind::none)
        return nullptr;
    return std::make_unique<PatternRows>(paint, blit.dc.surface().bits, part.x1, part.x2);
}

static bool whole_rows(const GdiSurface& s, const Box& part)
{
    return part.x1 == 0 && part.x2 == s.width
           && size_t(std::abs(s.stride)) * 8 == size_t(s.width) * size_t(s.bits);
}

// Equal sizes; the source pixel of (x, y) is (x + dx, y + dy).
static void copy_part(const GdiBlit& blit, const Box& part, int dx, int dy, const GdiPaint& paint)
{
    const GdiSurface& target = blit.dc.surface();
    const GdiSurface& source = blit.source;
    const bool same = blit.converter.identity();
    const bool own = target.top == source.top;
    const int n = part.x2 - part.x1, bits = target.bits;
    if (same && blit.rop == 0xCC && !own && dx == 0 && target.stride == source.stride
        && target.width == source.width && whole_rows(target, part)) {
        const int first = target.stride > 0 ? part.y1 : part.y2 - 1;
        memcpy(target.row(first), source.row(first + dy),
               size_t(std::abs(target.stride)) * size_t(part.y2 - part.y1));
        return;
    }
    const auto patterns = pattern_rows(blit, paint, part);
    ScratchRow scratch(bits, part.x1, part.x2);
    std::vector<uint32_t> pixels(same ? 0 : size_t(n));
    // A source row may be used where it lies when it has the target's bit positions and no part of
    // it is written before it is read.
    const bool in_place = same && (bits >= 8 || int64_t(dx) * bits % 8 == 0) && !(own && dy == 0);
    const ptrdiff_t shift = ptrdiff_t(int64_t(dx) * bits / 8);
    const size_t first = size_t(part.x1) * size_t(bits), count = size_t(n) * size_t(bits);
    const bool upwards = own && dy < 0;
    for (int i = 0; i < part.y2 - part.y1; i++) {
        const int y = upwards ? part.y2 - 1 - i : part.y1 + i;
        const uint8_t* from = source.row(y + dy);
        if (in_place) {
            from += shift;
        } else if (same) {
            move_pixels(scratch.data(), scratch.x(), from, part.x1 + dx, bits, n);
            from = scratch.shifted();
        } else if (bits == 32 && blit.rop == 0xCC) {
            uint32_t* out = reinterpret_cast<uint32_t*>(target.row(y)) + part.x1;
            blit.converter.run_row(from, part.x1 + dx, out, n);
            continue;
        } else {
            blit.converter.run_row(from, part.x1 + dx, pixels.data(), n);
            scratch.pack(pixels.data(), n);
            from = scratch.shifted();
        }
        rop_row(blit.rop, target.row(y), from, patterns ? patterns->row(y) : nullptr, first, count);
    }
}

// Source pixels that fall together: ANDed, ORed, or the first one kept.
static void merge(uint32_t* into, const uint32_t* from, size_t n, int mode)
{
    for (size_t i = 0; i < n; i++)
        into[i] = mode == BLACKONWHITE ? into[i] & from[i] : into[i] | from[i];
}

static void stretch_part(const GdiBlit& blit, const Box& part, const AxisMap& xs, const AxisMap& ys,
                         const GdiPaint& paint)
{
    const GdiSurface& target = blit.dc.surface();
    const GdiSurface& source = blit.source;
    const int mode = blit.dc.state.stretch_mode;
    const size_t n = size_t(part.x2 - part.x1);
    std::vector<int> first(n), last(n);
    int low = source.width, high = 0;
    for (size_t i = 0; i < n; i++) {
        xs.range(part.x1 + int(i), &first[i], &last[i]);
        low = std::min(low, first[i]);
        high = std::max(high, last[i]);
    }
    const size_t width = size_t(high - low + 1);
    std::vector<uint32_t> line(width), other(width), pixels(n);
    const auto patterns = pattern_rows(blit, paint, part);
    ScratchRow scratch(target.bits, part.x1, part.x2);
    int made_first = -1, made_last = -1;
    for (int y = part.y1; y < part.y2; y++) {
        int top, bottom;
        ys.range(y, &top, &bottom);
        if (top != made_first || bottom != made_last) {
            unpack_row(source.row(top), source.bits, low, int(width), line.data());
            for (int row = top + 1; row <= bottom; row++) {
                unpack_row(source.row(row), source.bits, low, int(width), other.data());
                merge(line.data(), other.data(), width, mode);
            }
            for (size_t i = 0; i < n; i++) {
                pixels[i] = line[size_t(first[i] - low)];
                for (int k = first[i] + 1; k <= last[i]; k++)
                    merge(&pixels[i], &line[size_t(k - low)], 1, mode);
            }
            blit.converter.run(pixels.data(), pixels.data(), int(n));
            scratch.pack(pixels.data(), int(n));
            made_first = top, made_last = bottom;
        }
        rop_row(blit.rop, target.row(y), scratch.shifted(), patterns ? patterns->row(y) : nullptr,
                size_t(part.x1) * size_t(target.bits), n * size_t(target.bits));
    }
}

// A copy of the source box, for when the target would overwrite what is still to be read.
static std::shared_ptr<BitmapObject> take_aside(GdiBlit* blit)
{
    const GdiSurface& s = blit->source;
    Box box = { clamp_coordinate(blit->x.source), clamp_coordinate(blit->y.source),
                clamp_coordinate(blit->x.source + blit->x.source_size),
                clamp_coordinate(blit->y.source + blit->y.source_size) };
    box = intersect(box, s.box());
    auto copy = make_bitmap(box.x2 - box.x1, box.y2 - box.y1, s.format, false, false);
    if (!copy)
        return nullptr;
    copy->surface.table = s.table;
    for (int y = box.y1; y < box.y2; y++)
        move_pixels(copy->surface.row(y - box.y1), 0, s.row(y), box.x1, s.bits, box.x2 - box.x1);
    return copy;
}

static bool boxes_meet(const BlitAxis& a)
{
    return a.target < a.source + a.source_size && a.source < a.target + a.target_size;
}

void run_blit(const GdiBlit& original)
{
    GdiBlit blit = original;
    if (blit.x.target_size == 0 || blit.y.target_size == 0 || blit.x.source_size == 0
        || blit.y.source_size == 0)
        return;
    const int mode = blit.dc.state.stretch_mode;
    const bool merge_pixels = mode == BLACKONWHITE || mode == WHITEONBLACK;
    AxisMap xs(blit.x, blit.source.width, merge_pixels);
    AxisMap ys(blit.y, blit.source.height, merge_pixels);
    const Box box = { clamp_coordinate(xs.begin()), clamp_coordinate(ys.begin()),
                      clamp_coordinate(xs.end()), clamp_coordinate(ys.end()) };
    if (box_empty(box))
        return;
    const GdiPaint paint = rop_uses_pattern(blit.rop)
                            ? resolve_brush(blit.dc, *blit.dc.state.brush.object)
                            : GdiPaint();
    if (rop_uses_pattern(blit.rop) && paint.kind == GdiPaint::Kind::none)
        return;
    const bool plain = blit.x.plain() && blit.y.plain();
    int count;
    blit.dc.clip().boxes(&count);
    std::shared_ptr<BitmapObject> aside;
    const bool overlaps = blit.source.top == blit.dc.surface().top && boxes_meet(blit.x)
                          && boxes_meet(blit.y);
    if (overlaps && (!plain || count > 1)) {
        aside = take_aside(&blit);
        if (!aside)
            return;
        const int64_t left = std::max<int64_t>(0, blit.x.source);
        const int64_t top = std::max<int64_t>(0, blit.y.source);
        blit.x.source -= left;
        blit.y.source -= top;
        blit.source = aside->surface;
        xs = AxisMap(blit.x, blit.source.width, merge_pixels);
        ys = AxisMap(blit.y, blit.source.height, merge_pixels);
    }
    for_each_clipped(blit.dc.clip(), box, [&](const Box& part) {
        if (plain)
            copy_part(blit, part, int(blit.x.source - blit.x.target),
                      int(blit.y.source - blit.y.target), paint);
        else
            stretch_part(blit, part, xs, ys, paint);
    });
}
