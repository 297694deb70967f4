// The modules of the language library. Each init function interns the module's symbols and registers
// its primitives; boot calls them in its order.
#pragma once

void init_arrays();
void init_character_sets();
void init_compare_buffers();
void init_date_time();
void init_equality();
void init_format();
void init_hash_tables();
void init_lists();    // with the car and cdr family, the searches and sort
void init_numbers();  // arithmetic and functions of numbers
void init_position();
void init_search();
void init_sets();
void init_streams();
void init_strings();
void init_types();
void init_vectors();
