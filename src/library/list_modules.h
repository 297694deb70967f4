// The files that make up the module of lists, for init_lists.
#pragma once

void init_list_access();
void init_list_search();
void init_property_lists();
void init_sort();
