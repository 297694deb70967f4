// From an Image file to a running application: preferences, sizes, the frame, the `Load` resources,
// the hooks of the Lisp library. The steps are separate, since the console takes some of them only.
#pragma once

#include <string>
#include <vector>

#include "kernel/spaces.h"
#include "platform/host/host.h"

// The Image file of a program: its own name with what stands behind the last "." replaced by RI.
std::string image_path_of(const std::string& program_path);

// Opens the file, by its host path. On failure the dialog has been shown.
bool open_image(const std::string& host_path);

// What the open Image file asks for; what it lacks takes its default.
FrameSettings image_frame_settings(const std::string& default_title);
SpaceSizes image_sizes();

// The Lisp part, once the modules stand: symbol table, splash, every `Load` from 0 on up to the
// first gap, init-kalvex, init-user. A resource that cannot be read for want of memory ends the
// program.
void load_image();

// Offers each word to Appl as a folder or a file, or sends start-appl when there was none.
void offer_command_line(const std::vector<std::string>& words);

// Reads and evaluates a Load's handle as it stands.
void load_from_handle(uint32_t handle, Value id);

// Ticks from the start of initialisation to the end of the Loads.
void note_boot_start();
uint32_t boot_ticks();

void init_boot(); // the primitives about boot, frame and end of the program
