// The object table, deletion and the stock objects.
#include "platform/gdi/objects.h"

#include "platform/gdi/bitmap.h"
#include "platform/gdi/brush.h"
#include "platform/gdi/dc.h"
#include "platform/gdi/font.h"
#include "platform/gdi/palette.h"

#include <array>
#include <vector>

static constexpr uint32_t kIndexMask = 0xFFFF;
static constexpr uint32_t kGenerationMask = 0x7FF;
static constexpr int kStockCount = 18;

namespace {

struct Slot {
    std::shared_ptr<GdiObject> object;
    uint32_t generation = 1;
};

struct ObjectTable {
    std::vector<Slot> slots;
    std::vector<uint32_t> free;
    std::array<HGDIOBJ, kStockCount> stock;
    HGDIOBJ stock_bitmap;
    bool stock_made = false;
};

} // namespace

// Lives to the end of the program: other static data may still delete objects while it goes down.
static ObjectTable& object_table()
{
    static ObjectTable* table = new ObjectTable;
    return *table;
}

HGDIOBJ add_gdi_object(std::shared_ptr<GdiObject> object)
{
    ObjectTable& table = object_table();
    if (table.free.empty()) {
        if (table.slots.size() > kIndexMask)
            return nullptr;
        table.free.push_back(uint32_t(table.slots.size()));
        table.slots.emplace_back();
    }
    const uint32_t index = table.free.back();
    table.free.pop_back();
    Slot& slot = table.slots[index];
    const uint32_t type = uint32_t(object->type);
    slot.object = std::move(object);
    return HGDIOBJ(type << 27 | slot.generation << 16 | index);
}

static Slot* find_slot(HGDIOBJ handle)
{
    ObjectTable& table = object_table();
    const uint32_t index = handle.value & kIndexMask;
    if (index >= table.slots.size())
        return nullptr;
    Slot& slot = table.slots[index];
    const bool alive = slot.object && slot.generation == (handle.value >> 16 & kGenerationMask)
                       && uint32_t(slot.object->type) == handle.value >> 27;
    return alive ? &slot : nullptr;
}

GdiObject* peek_gdi_object(HGDIOBJ handle, GdiType type)
{
    const Slot* slot = find_slot(handle);
    return slot && slot->object->type == type ? slot->object.get() : nullptr;
}

std::shared_ptr<GdiObject> find_gdi_object(HGDIOBJ handle, GdiType type)
{
    const Slot* slot = find_slot(handle);
    return slot && slot->object->type == type ? slot->object : nullptr;
}

bool remove_gdi_object(HGDIOBJ handle)
{
    Slot* slot = find_slot(handle);
    if (!slot)
        return false;
    // Generation 0 is left out, so that no handle is ever the null word.
    slot->generation = (slot->generation & kGenerationMask) == kGenerationMask
                           ? 1
                           : slot->generation + 1;
    object_table().free.push_back(handle.value & kIndexMask);
    std::shared_ptr<GdiObject> last = std::move(slot->object);
    return true;
}

int GdiObjectCount(GdiType type)
{
    int count = 0;
    for (const Slot& slot : object_table().slots) {
        if (slot.object && !slot.object->stock
            && (type == GdiType::none || slot.object->type == type))
            count++;
    }
    return count;
}

static HGDIOBJ make_stock(HGDIOBJ handle)
{
    find_slot(handle)->object->stock = true;
    return handle;
}

static void make_stock_objects(ObjectTable& table)
{
    table.stock_made = true;
    auto& stock = table.stock;
    const COLORREF greys[] = { RGB(255, 255, 255), RGB(192, 192, 192), RGB(128, 128, 128),
                               RGB(64, 64, 64), RGB(0, 0, 0) };
    for (int i = 0; i < 5; i++)
        stock[WHITE_BRUSH + i] = make_stock(CreateSolidBrush(greys[i]));
    LOGBRUSH none;
    none.lbStyle = BS_NULL;
    stock[NULL_BRUSH] = make_stock(CreateBrushIndirect(none));
    stock[WHITE_PEN] = make_stock(CreatePen(PS_SOLID, 0, RGB(255, 255, 255)));
    stock[BLACK_PEN] = make_stock(CreatePen(PS_SOLID, 0, RGB(0, 0, 0)));
    stock[NULL_PEN] = make_stock(CreatePen(PS_NULL, 0, RGB(0, 0, 0)));
    for (int font : { OEM_FIXED_FONT, ANSI_FIXED_FONT, ANSI_VAR_FONT, SYSTEM_FONT,
                      DEVICE_DEFAULT_FONT, SYSTEM_FIXED_FONT, DEFAULT_GUI_FONT })
        stock[font] = make_stock(CreateFontIndirectA(stock_font_description(font)));
    stock[DEFAULT_PALETTE] = make_stock(make_default_palette());
    table.stock_bitmap = make_stock(make_stock_bitmap());
}

HGDIOBJ GetStockObject(int which)
{
    ObjectTable& table = object_table();
    if (!table.stock_made)
        make_stock_objects(table);
    return which >= 0 && which < kStockCount ? table.stock[size_t(which)] : HGDIOBJ();
}

HBITMAP stock_gdi_bitmap()
{
    GetStockObject(NULL_PEN);
    return HBITMAP(object_table().stock_bitmap);
}

bool DeleteObject(HGDIOBJ handle)
{
    const Slot* slot = find_slot(handle);
    if (!slot)
        return false;
    if (slot->object->stock)
        return true;  // said to be deleted, and left alone
    if (slot->object->type == GdiType::dc)
        return DeleteDC(HDC(handle));
    if (const BitmapObject* bitmap = peek<BitmapObject>(handle); bitmap && bitmap->selected_into)
        return false;
    return remove_gdi_object(handle);
}

int GetObjectType(HGDIOBJ handle)
{
    const Slot* slot = find_slot(handle);
    if (!slot)
        return 0;
    switch (slot->object->type) {
    case GdiType::dc:
        return static_cast<DeviceContext*>(slot->object.get())->memory ? OBJ_MEMDC : OBJ_DC;
    case GdiType::bitmap: return OBJ_BITMAP;
    case GdiType::pen: return OBJ_PEN;
    case GdiType::brush: return OBJ_BRUSH;
    case GdiType::palette: return OBJ_PAL;
    case GdiType::region: return OBJ_REGION;
    case GdiType::font: return OBJ_FONT;
    case GdiType::none: break;
    }
    return 0;
}
