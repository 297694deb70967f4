// The primitives about the spaces and the memory gauge.
#pragma once

void init_memory();
