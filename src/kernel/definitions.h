// `define` and its sisters, and the `bind` family.
#pragma once

void init_definitions();
