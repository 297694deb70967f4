// What the dialogs for choosing files and folders are asked. Strings are Windows-1252, paths system
// paths.
#pragma once

#include <string>
#include <vector>

enum class FileDialogKind { open, save, folder };

struct FileFilter {
    std::string label;   // with the pattern behind it, as it is shown
    std::string pattern; // "*.txt", or several with ";" between them
};

struct FileDialog {
    FileDialogKind kind = FileDialogKind::open;
    std::string prompt;
    std::string folder; // where it starts; empty: where the host likes
    std::string name;   // the name that is offered when saving
    std::vector<FileFilter> filters;
};
