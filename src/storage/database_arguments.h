// What the primitives of databases and of typed records share.
#pragma once

#include "kernel/value.h"
#include "storage/database.h"

DatabaseId database_argument(Value pointer); // error 5 of the databases when it is not open
Value make_record(Handle record);

// Raises the error of a status that is not good; about is the value of a file error.
void check_database(int status, Value about);

// What Compact-Databases? says.
bool may_compact_databases();
DatabaseClose usual_database_close();

void init_typed_records();
