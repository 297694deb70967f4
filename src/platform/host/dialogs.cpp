#include "platform/host/dialogs.h"

#include "platform/text_encoding.h"

namespace {

struct DialogRow {
    int id;
    const char* title;
    const char* text; // UTF-8
    const char* buttons[3];
};

} // namespace

static const DialogRow rows[] = {
    { 5000, "", "There is not enougth RAM memory : ^0 K", { "OK" } },
    { 5001, "", "Il n'y a pas assez de mémoire RAM : ^0 K", { "OK" } },
    { 5002,
      "",
      "La memoria viva para la aplicación es insuficiente: se necesitan ^0 K más.",
      { "OK" } },
    { 5200, "", "The file ^0 was not found!", { "OK" } },
    { 5201, "", "Le fichier ^0 n'est pas présent!", { "OK" } },
    { 5202, "", "El archivo ^0 no se encontró!", { "OK" } },
    { 5300, "", "The file is not of a good type.", { "OK" } },
    { 5301, "", "Fichier incorrect.", { "OK" } },
    { 5302, "", "El fichero no es del tipo correcto.", { "OK" } },
    { 5400,
      "Quicktime",
      "This program contains QuickTime movies.  \n \nTo be able to play them, execute setup.exe.",
      { "OK" } },
    { 5401,
      "Quicktime",
      "Ce logiciel contient des films QuickTime. \n \nPour pouvoir les faire jouer, vous devez "
      "exécuter setup.exe.",
      { "OK" } },
    { 5500,
      "",
      "An error has occured.  You should save your file, quit and reload the software.",
      { "OK", "Quit", "Details" } },
    { 5501,
      "",
      "Une erreur interne s'est produite, nous vous suggérons, dans la mesure du possible, de "
      "sauver "
      "vos fichiers et de redémarrer!",
      { "OK", "Quitter", "Détails" } },
    { 5502,
      "",
      "Se ha producido un error interno.  Le sugerimos que, si es posible, salvaguarde sus "
      "ficheros y "
      "reinicialice.",
      { "OK", "Salir" } },
    { 5600, "", "Out of Memory", { "OK", "Quit" } },
    { 5601, "", "Manque de mémoire.", { "OK", "Quitter" } },
    { 5602, "", "Memoria interna insuficiente.", { "OK", "Salir" } },
    { 5700, "", "Out of Memory", { "OK" } },
    { 5701, "", "Manque de mémoire.", { "OK" } },
    { 5702, "", "Memoria insuficiente.", { "OK" } },
    { 5900,
      "Quicktime",
      "This program contains QuickTime™ movies.  \n \nTo be able to play them, install QuickTime™ "
      "^0.",
      { "OK" } },
    { 5901,
      "Quicktime",
      "Ce logiciel contient des films QuickTime™. \n \nPour pouvoir les faire jouer, vous devez "
      "installer QuickTime™ ^0.",
      { "OK" } },
    { 6100, "", "^0", { "OK", "Quit" } },
    { 6101, "", "^0", { "OK", "Quitter" } },
};

static constexpr size_t kMostText = 1024;
static constexpr size_t kMostParameter = 255; // a Pascal string

static std::string parameters[4];

void set_dialog_params(std::string_view p0, std::string_view p1, std::string_view p2,
                       std::string_view p3)
{
    const std::string_view given[] = { p0, p1, p2, p3 };
    for (int i = 0; i < 4; i++)
        parameters[i] = given[i].substr(0, kMostParameter);
}

std::string fill_dialog_text(std::string_view text)
{
    std::string filled(text.substr(0, kMostText - 1));
    for (size_t at = 0; at + 1 < filled.size();) {
        const unsigned index = static_cast<unsigned char>(filled[at + 1]) - '0';
        if (filled[at] != '^' || index > 3) {
            at++;
            continue;
        }
        const std::string& parameter = parameters[index];
        if (filled.size() - 2 + parameter.size() < kMostText) {
            filled.replace(at, 2, parameter);
            at += parameter.size();
        } else {
            at += 2;
        }
    }
    return filled;
}

static const DialogRow* find_row(int id)
{
    for (const DialogRow& row : rows) {
        if (row.id == id)
            return &row;
    }
    return nullptr;
}

bool find_dialog(int id, Dialog* dialog)
{
    const DialogRow* row = find_row(id);
    if (!row)
        row = find_row(id / 100 * 100);
    if (!row)
        return false;
    dialog->id = row->id;
    dialog->title = row->title;
    dialog->text = fill_dialog_text(ansi_from_utf8(row->text));
    const bool says_it = std::string_view(row->text).find("^0") != std::string_view::npos;
    dialog->unsaid = says_it ? "" : parameters[0];
    dialog->buttons.clear();
    for (const char* button : row->buttons) {
        if (button)
            dialog->buttons.push_back(ansi_from_utf8(button));
    }
    return true;
}
