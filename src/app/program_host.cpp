#include "app/program_host.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "platform/host/headless_host.h"

// KALVEX_ALERTS holds the buttons for the alerts to come, as digits: "31" is Details, then OK.
static std::vector<int> scripted_answers()
{
    std::vector<int> answers;
    const char* text = getenv("KALVEX_ALERTS");
    for (; text && *text; text++) {
        if (*text >= '0' && *text <= '9')
            answers.push_back(*text - '0');
    }
    return answers;
}

bool choose_host(const std::string& name)
{
    if (name == "desktop") {
        fputs("kalvex: there is no desktop host in this build\n", stderr);
        return false;
    }
    if (!name.empty() && name != "headless")
        return false;
    static HeadlessHost headless;
    headless.answer_alerts(scripted_answers());
    host = &headless;
    return true;
}
