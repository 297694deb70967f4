// The sources of an Image file, written down one resource a line; docs/formats/manifest.md tells
// the lines. Reading a manifest opens no other file; its paths stand relative to its own folder.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct ManifestEntry {
    enum Content { load_text, load_compact, bytes, file } content;
    uint32_t type = 0;
    int id = 0;
    int attributes = 0;
    std::string name; // of the resource, Windows-1252
    std::string data; // of content bytes
    std::string path; // of the other contents, a host path
    int line = 0;
};

struct Manifest {
    uint32_t file_type = 0;
    uint32_t creator = 0;
    std::vector<ManifestEntry> entries; // in the order of their lines
};

// False with *error ("line 3: ...") when the text is no manifest.
bool parse_manifest(std::string_view text, const std::string& folder, Manifest* manifest,
                    std::string* error);

// Reads the files that the manifest names and writes the Image file, in place of one that is there.
// Nothing is left of a file that could not be finished.
bool build_image(const Manifest& manifest, const std::string& output_path, std::string* error);

// Four characters, padded with blanks, as a type; false when there are none or more than four.
bool parse_type(std::string_view text, uint32_t* type);
std::string type_text(uint32_t type);
