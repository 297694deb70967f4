// The modules of storage that Lisp sees. Each init function interns its symbols and registers its
// primitives; boot calls them in its order.
#pragma once

void init_handles();
void init_resources();
