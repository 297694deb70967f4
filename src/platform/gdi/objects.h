// The table of GDI objects. A handle's word is
//
//     31..27 type   26..16 generation   15..0 index
//
// and a slot's generation moves on with each object that leaves it.
#pragma once

#include "platform/gdi.h"

#include <memory>

struct GdiObject {
    explicit GdiObject(GdiType t) : type(t) { }
    virtual ~GdiObject() = default;

    const GdiType type;
    bool stock = false;
};

// A null handle when the table is full.
HGDIOBJ add_gdi_object(std::shared_ptr<GdiObject> object);
std::shared_ptr<GdiObject> find_gdi_object(HGDIOBJ handle, GdiType type);
GdiObject* peek_gdi_object(HGDIOBJ handle, GdiType type);
bool remove_gdi_object(HGDIOBJ handle);

// The live object behind a handle, or null. T names its type as T::kType.
template <class T> T* peek(HGDIOBJ handle)
{
    return static_cast<T*>(peek_gdi_object(handle, T::kType));
}

template <class T> std::shared_ptr<T> share(HGDIOBJ handle)
{
    return std::static_pointer_cast<T>(find_gdi_object(handle, T::kType));
}

template <GdiType Type, class T> GdiHandle<Type> add(std::shared_ptr<T> object)
{
    return GdiHandle<Type>(add_gdi_object(std::move(object)));
}
