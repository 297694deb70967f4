// The modules of storage that Lisp sees. Each init function interns its symbols and registers its
// primitives; boot calls them in its order.
#pragma once

void init_applications(); // programs, links, menu entries, file dialogs
void init_databases();
void init_file_info();
void init_files();
void init_handles();
void init_pathnames();
void init_resources();

// At the end of a run: writes what has changed and closes every file.
void close_storage();
