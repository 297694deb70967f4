// Drawing calls on a context with a device behind it.
#pragma once

#include "platform/gdi/blit.h"
#include "platform/gdi_device.h"

DeviceBrush device_brush(const DeviceContext& dc, const BrushObject& brush);
void record_boxes(const DeviceContext& dc, const Box* boxes, size_t count, const BrushObject& brush,
                  uint8_t rop);
void record_image(const DeviceContext& dc, const GdiSurface& source, const BlitAxis& x,
                  const BlitAxis& y, uint32_t rop);
// Figures drawn with the context's pen and, when filled, its brush.
void record_path(const DeviceContext& dc, const GdiPath& path, bool filled);
void record_clip(const DeviceContext& dc);
