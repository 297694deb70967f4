// The order in which the object layer comes up: obj-root is the first native class of a run.
#include "objects/objects.h"

void init_objects()
{
    init_members();
    init_classes();
    define_native_class("obj-root", nullptr, nil);
    init_slots();
    init_instances();
    init_references();
    init_slot_primitives();
    init_overrides();
    init_configurations();
    init_persistence();
}
