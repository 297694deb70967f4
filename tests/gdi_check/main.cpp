// gdi-check [--known LIST] [FORMATS] FILE...: runs GDI scripts on the drawing layer, tells each
// expectation that fails, and last "passed P of T". The list names cases, with their format, that
// are known to fail ("case format" a line): then the exit status is 0 when just these do.
#include "script.h"

#include <cstdio>
#include <fstream>
#include <set>

static std::string folder_of(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

static bool is_formats_file(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return (slash == std::string::npos ? path : path.substr(slash + 1)) == "formats.gdi";
}

static bool find_formats(const std::string& script, Formats* formats)
{
    return read_formats(folder_of(script) + "/formats.gdi", formats)
           || read_formats(folder_of(script) + "/../formats.gdi", formats);
}

static std::set<std::string> read_known(const char* path)
{
    std::set<std::string> known;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#')
            known.insert(line);
    return known;
}

int main(int argc, char** argv)
{
    Formats formats;
    bool have_formats = false, have_known = false;
    std::set<std::string> known, failed;
    int passed = 0, total = 0, broken = 0;
    for (int i = 1; i < argc; i++) {
        const std::string path = argv[i];
        if (path == "--known" && i + 1 < argc) {
            known = read_known(argv[++i]);
            have_known = true;
            continue;
        }
        if (is_formats_file(path)) {
            have_formats = read_formats(path, &formats);
            continue;
        }
        std::vector<Case> cases;
        if ((!have_formats && !find_formats(path, &formats)) || !read_cases(path, &cases)) {
            fprintf(stderr, "gdi-check: cannot read %s or its formats\n", path.c_str());
            broken = 2;
            continue;
        }
        for (const Case& script : cases) {
            for (size_t k = 0; k < script.statements.size(); k++) {
                const Statement& s = script.statements[k];
                if (s.words[0] != "expect")
                    continue;
                const bool hash = s.words.size() > 2 && s.words[2] == "sha1";
                const std::string format = hash ? s.words[1] : "bgrx32";
                const std::string wrong = run_case(script, formats, format, k);
                total++;
                if (wrong.empty()) {
                    passed++;
                    continue;
                }
                failed.insert(script.name + " " + s.words[1]);
                printf("%s:%d: %s: %s: %s\n", path.c_str(), s.line, script.name.c_str(),
                       s.words[1].c_str(), wrong.c_str());
            }
        }
    }
    for (const std::string& name : known)
        if (!failed.count(name))
            printf("known to fail, but passed: %s\n", name.c_str());
    printf("passed %d of %d\n", passed, total);
    if (broken)
        return broken;
    return have_known ? failed != known : passed != total;
}
