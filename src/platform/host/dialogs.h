// The run-time's own alert dialogs: their texts in three languages, their buttons, and the four
// parameters that stand for ^0 to ^3. Texts are Windows-1252, as all strings of the system.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Base ids; the language (0 English, 1 French, 2 Spanish) is added.
enum DialogId : int {
    kDialogMemory = 5000, // ^0: what is missing, in K
    kDialogNoFile = 5200, // ^0: its name
    kDialogWrongFile = 5300,
    kDialogOldMovies = 5400,
    kDialogInternalError = 5500,
    kDialogOutOfMemory = 5600, // with a choice
    kDialogLoadMemory = 5700,  // without one
    kDialogMovies = 5900,      // ^0: the version needed
    kDialogDetails = 6100,     // ^0: the text
};

struct Dialog {
    int id;
    std::string title;
    std::string text;                 // parameters filled in
    std::string unsaid;               // ^0 when the text does not hold it
    std::vector<std::string> buttons; // the first answers 1, the next 2...
};

// Each at most 255 characters; longer ones are cut.
void set_dialog_params(std::string_view p0, std::string_view p1 = {}, std::string_view p2 = {},
                       std::string_view p3 = {});

// Replaces every ^0 to ^3. A replacement that would bring the text to 1,024 characters is dropped.
std::string fill_dialog_text(std::string_view text);

// The dialog of an id with its language, with the parameters as they stand. A language that a
// dialog lacks falls back to English; false for an id that names no dialog.
bool find_dialog(int id, Dialog* dialog);
