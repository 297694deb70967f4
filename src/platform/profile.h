// The user's settings: KALVEX.INI, sections of key=value lines, in the user's configuration folder.
// Names of sections and keys are compared without case; values are kept as the bytes given. The file
// is read at each call, since another program may have changed it.
#pragma once

#include <string>

// What the key holds, without the blanks around it; fallback when it is not there or unreadable.
std::string GetProfileString(const char* section, const char* key, const char* fallback);
int GetProfileInt(const char* section, const char* key, int fallback);

// Sets the key, all other lines staying as they are; null for value takes the key out. The file is
// replaced as a whole, so it is at no time half written. False when it can't be written.
bool WriteProfileString(const char* section, const char* key, const char* value);

// A key of the section "intl" (iDate, iTime, sDate, sTime, s1159, s2359). Without a setting it is what
// the user's locale says; fallback when that says nothing.
std::string GetIntlString(const char* key, const char* fallback);

// The file in use. set_profile_path is for tests; an empty path is the user's own file again.
std::string profile_path();
void set_profile_path(const std::string& path);
