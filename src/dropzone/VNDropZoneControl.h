#pragma once

// What the application's global drag detector needs of the drop zone: where the pointer is relative to it,
// and sliding it in and out.
class VNDropZoneControl {
public:
    virtual ~VNDropZoneControl() = default;

    // Distance in pixels from the pointer to the zone's active area.
    virtual double distanceFromMouse() const = 0;
    virtual bool isOnScreen() const = 0;
    virtual void slideOnscreen() = 0;
    virtual void slideOffscreen() = 0;
};
