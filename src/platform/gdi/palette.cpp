// Logical palettes and, on an 8-bit display, their realisation.
#include "platform/gdi/palette.h"

#include "platform/gdi/color.h"

#include <algorithm>

static constexpr int kStaticColors = 10;  // at either end of the display's table

static uint32_t entry_color(const PALETTEENTRY& e)
{
    return uint32_t(e.peRed) << 16 | uint32_t(e.peGreen) << 8 | e.peBlue;
}

static PALETTEENTRY entry_of(uint32_t color)
{
    return { uint8_t(color >> 16), uint8_t(color >> 8), uint8_t(color), 0 };
}

static uint32_t display_color(uint32_t index)
{
    static const std::shared_ptr<GdiColorTable> fallback = default_color_table(8);
    const GdiColorTable& table = gdi_display().table ? *gdi_display().table : *fallback;
    return table.color(index);
}

uint32_t PaletteObject::color(uint32_t index) const
{
    const PALETTEENTRY& e = entries[index < entries.size() ? index : 0];
    if (e.peFlags & PC_EXPLICIT)
        return display_color(e.peRed | uint32_t(e.peGreen) << 8);
    return entry_color(e);
}

HGDIOBJ make_default_palette()
{
    auto palette = std::make_shared<PaletteObject>();
    for (int i = 0; i < 20; i++)
        palette->entries.push_back(entry_of(gdi_system_colors()[i]));
    return add_gdi_object(palette);
}

HPALETTE CreatePalette(const PALETTEENTRY* entries, int count)
{
    if (!entries || count <= 0 || count > 1024)
        return nullptr;
    auto palette = std::make_shared<PaletteObject>();
    palette->entries.assign(entries, entries + count);
    return add<GdiType::palette>(palette);
}

HPALETTE SelectPalette(HDC dc_handle, HPALETTE handle, bool)
{
    DeviceContext* dc = peek<DeviceContext>(dc_handle);
    const auto palette = share<PaletteObject>(handle);
    if (!dc || !palette)
        return nullptr;
    const HPALETTE old(dc->state.palette.handle);
    dc->state.palette = { handle, palette };
    return old;
}

// Colours that the display's table lacks take its free places, in order; the static colours stay.
uint32_t RealizePalette(HDC dc_handle)
{
    const DeviceContext* dc = peek<DeviceContext>(dc_handle);
    if (!dc)
        return uint32_t(GDI_ERROR);
    GdiColorTable* table = gdi_display().table.get();
    if (!table || dc->state.palette.object->stock)
        return 0;
    uint32_t changed = 0;
    size_t place = kStaticColors;
    for (const PALETTEENTRY& e : dc->state.palette.object->entries) {
        if ((e.peFlags & PC_EXPLICIT) || table->find(entry_color(e)) >= 0)
            continue;
        const auto wanted = [&](uint32_t color) {
            const auto& all = dc->state.palette.object->entries;
            return std::any_of(all.begin(), all.end(),
                               [&](const PALETTEENTRY& o) { return entry_color(o) == color; });
        };
        while (place < table->size() - kStaticColors && wanted(table->color(uint32_t(place))))
            place++;
        if (place >= table->size() - kStaticColors)
            break;
        table->set(place++, entry_color(e));
        changed++;
    }
    return changed;
}

uint32_t GetPaletteEntries(HPALETTE handle, uint32_t first, uint32_t count, PALETTEENTRY* out)
{
    const PaletteObject* palette = peek<PaletteObject>(handle);
    if (!palette)
        return 0;
    if (!out)
        return uint32_t(palette->entries.size());
    uint32_t done = 0;
    for (; done < count && size_t(first) + done < palette->entries.size(); done++)
        out[done] = palette->entries[first + done];
    return done;
}

uint32_t SetPaletteEntries(HPALETTE handle, uint32_t first, uint32_t count,
                           const PALETTEENTRY* in)
{
    PaletteObject* palette = peek<PaletteObject>(handle);
    if (!palette || palette->stock || !in)
        return 0;
    uint32_t done = 0;
    for (; done < count && size_t(first) + done < palette->entries.size(); done++)
        palette->entries[first + done] = in[done];
    return done;
}

uint32_t GetSystemPaletteEntries(HDC dc_handle, uint32_t first, uint32_t count, PALETTEENTRY* out)
{
    if (!peek<DeviceContext>(dc_handle) || !gdi_display().table)
        return 0;
    const uint32_t size = uint32_t(gdi_display().table->size());
    if (!out)
        return size;
    uint32_t done = 0;
    for (; done < count && uint64_t(first) + done < size; done++)
        out[done] = entry_of(gdi_display().table->color(first + done));
    return done;
}

uint32_t GetNearestPaletteIndex(HPALETTE handle, COLORREF color)
{
    const PaletteObject* palette = peek<PaletteObject>(handle);
    if (!palette)
        return CLR_INVALID;
    std::vector<uint32_t> colors(palette->entries.size());
    for (size_t i = 0; i < colors.size(); i++)
        colors[i] = palette->color(uint32_t(i));
    return GdiColorTable(std::move(colors)).nearest(color_of_colorref(color));
}

COLORREF GetNearestColor(HDC dc_handle, COLORREF color)
{
    const DeviceContext* dc = peek<DeviceContext>(dc_handle);
    if (!dc)
        return CLR_INVALID;
    if (!dc->bitmap)
        return colorref_of(color_value(*dc, color));
    const uint32_t pixel = pixel_of(*dc, color, ColorUse::plot);
    return colorref_of(color_of_pixel(dc->surface(), pixel));
}
