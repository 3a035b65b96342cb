// The unattended command line: -SETUP, -STATUS or -UNINSTALL with -LOG, -DRIVER and -DOCUMENTS.
//
// A line becomes unattended only when one of its arguments is one of these keywords; any other
// line (none, a file name, SOURCE and TARGET, unknown keywords alone) opens the window exactly as
// it always did.
#include "app/actionline.h"
#include <cstdlib>
#include <cwchar>
#include <initializer_list>
#include <string>
#include <vector>
#include "res/resource.h"
#include "support/str.h"

namespace {

// The actions in AppAction's order, then their options.
enum Entry {
    KW_SOURCE, KW_TARGET, KW_SETUP, KW_STATUS, KW_UNINSTALL, KW_PRINTTEST,
    KW_LOG, KW_DRIVER, KW_DOCUMENTS, KW_WAIT, KW_MACHINE, KW_COUNT
};
const wchar_t *const kNames[KW_COUNT] = {L"SOURCE", L"TARGET", L"SETUP", L"STATUS", L"UNINSTALL",
                                         L"PRINTTEST", L"LOG", L"DRIVER", L"DOCUMENTS", L"WAIT", L"MACHINE"};

struct Keyword {
    int found = 0;
    bool valued = false;  // a non-empty value in brackets
    std::wstring value;
};

struct Line {
    Keyword table[KW_COUNT];
    int count = 0;  // keywords given, repeats included
    bool unknown = false, unclosed = false;
    std::wstring stray;  // the first argument that is no keyword
};

// Windows' own splitting of a command line into arguments (CommandLineToArgvW's rules, as the C
// runtime applies them): blanks separate; double quotes group and go; 2n backslashes before a
// quote are n backslashes and the quote groups, 2n+1 are n and a literal quote; other
// backslashes are themselves; "" inside quotes is a literal quote. Scripts and deployment tools
// quote whole keywords ("-SETUP"), values (-LOG["C:\Deploy Logs\a.log"]) or parts of them. A blank
// inside brackets outside quotes does not split either, so -LOG[C:\Deploy Logs\a.log] keeps
// working as it always has.
std::vector<std::wstring> splitArguments(const wchar_t *line)
{
    std::vector<std::wstring> arguments;
    const wchar_t *p = line;
    for (;;) {
        while (*p == L' ' || *p == L'\t')
            p++;
        if (!*p)
            return arguments;
        std::wstring argument;
        bool quoted = false, bracketed = false;
        while (*p && (quoted || bracketed || (*p != L' ' && *p != L'\t'))) {
            if (*p == L'\\') {
                size_t slashes = 0;
                while (*p == L'\\')
                    slashes++, p++;
                argument.append(*p == L'"' ? slashes / 2 : slashes, L'\\');
                if (*p == L'"' && slashes % 2)
                    argument += *p++;
            } else if (*p == L'"') {
                if (quoted && p[1] == L'"')
                    argument += L'"', p++;
                else
                    quoted = !quoted;
                p++;
            } else {
                if (!quoted && (*p == L'[' || *p == L']'))
                    bracketed = *p == L'[';
                argument += *p++;
            }
        }
        arguments.push_back(argument);
    }
}

// One argument: -NAME or -NAME[value], the name compared without regard to case.
void takeArgument(const std::wstring &argument, Line *line)
{
    if (argument.empty() || argument[0] != L'-') {
        if (line->stray.empty())
            line->stray = argument.empty() ? L"\"\"" : argument;
        return;
    }
    size_t bracket = argument.find(L'[');
    std::wstring name = argument.substr(1, bracket == std::wstring::npos ? std::wstring::npos : bracket - 1);
    int entry = -1;
    for (int i = 0; i < KW_COUNT && entry < 0; i++)
        if (strEqualsFoldAZ(name.c_str(), kNames[i]))
            entry = i;
    if (entry < 0) {
        line->unknown = true;
        return;
    }
    line->count++;
    Keyword &keyword = line->table[entry];
    keyword.found = 1;
    if (bracket == std::wstring::npos)
        return;
    if (argument.back() != L']' || argument.size() == bracket + 1) {
        line->unclosed = true;
        return;
    }
    keyword.value = argument.substr(bracket + 1, argument.size() - bracket - 2);
    keyword.valued = !keyword.value.empty();
}

// Copies a keyword's value; 0 when it has none, -1 when it does not fit.
int valueOf(const Keyword &keyword, wchar_t *out, int capacity)
{
    out[0] = L'\0';
    if (!keyword.valued)
        return 0;
    if (keyword.value.size() > static_cast<size_t>(capacity))
        return -1;
    strCopyN(out, keyword.value.c_str(), capacity);
    return 1;
}

void refuse(ActionRequest *request, UINT id, const wchar_t *detail = L"")
{
    if (request->usageId)
        return;  // the first problem found is the one reported
    request->usageId = id;
    strCopyN(request->usageDetail, detail, PATH_CHARS);
}

void check(ActionRequest *request, const Line &line)
{
    const Keyword *table = line.table;
    if (line.unclosed)
        refuse(request, IDS_USAGE_BRACKET);
    if (line.unknown)
        refuse(request, IDS_USAGE_UNKNOWN);
    if (table[KW_SOURCE].found || table[KW_TARGET].found)
        refuse(request, IDS_USAGE_SOURCE_TARGET);
    int actions = 0, distinct = 0;
    for (int i = 0; i < KW_COUNT; i++) {
        distinct += table[i].found;
        if (table[i].found && i >= KW_SETUP && i <= KW_PRINTTEST) {
            actions++;
            request->action = static_cast<AppAction>(ACTION_SETUP + (i - KW_SETUP));
        }
    }
    if (actions != 1)
        refuse(request, IDS_USAGE_ACTIONS);
    if (line.count != distinct)
        refuse(request, IDS_USAGE_REPEATED);
    if (!line.stray.empty())
        refuse(request, IDS_USAGE_TRAILING, line.stray.c_str());
    for (Entry e : {KW_LOG, KW_DRIVER, KW_DOCUMENTS, KW_WAIT})
        if (table[e].found && !table[e].valued)
            refuse(request, IDS_USAGE_NO_VALUE, kNames[e]);
    if (table[KW_DRIVER].found && request->action != ACTION_SETUP)
        refuse(request, IDS_USAGE_NOT_WITH, kNames[KW_DRIVER]);
    if (table[KW_DOCUMENTS].found && request->action == ACTION_UNINSTALL)
        refuse(request, IDS_USAGE_NOT_WITH, kNames[KW_DOCUMENTS]);
    if (table[KW_MACHINE].found && table[KW_DOCUMENTS].found)
        refuse(request, IDS_USAGE_MACHINE);
    if (table[KW_MACHINE].found && request->action == ACTION_UNINSTALL)
        refuse(request, IDS_USAGE_NOT_WITH, kNames[KW_MACHINE]);
    request->machine = table[KW_MACHINE].found;
    if (table[KW_WAIT].found && request->action != ACTION_PRINTTEST)
        refuse(request, IDS_USAGE_NOT_WITH, kNames[KW_WAIT]);
    request->waitSeconds = kPrintTestWaitSeconds;
    if (table[KW_WAIT].valued) {
        const std::wstring &text = table[KW_WAIT].value;
        int seconds = text.size() <= 3 && IsIntegerText(text.c_str()) ? _wtoi(text.c_str()) : 0;
        if (seconds < 1 || seconds > 600)
            refuse(request, IDS_USAGE_WAIT, text.c_str());
        request->waitSeconds = seconds;
    }
}

}  // namespace

int appParseActionLine(const wchar_t *commandLine, ActionRequest *request)
{
    ZeroMemory(request, sizeof(*request));
    Line line;
    for (const std::wstring &argument : splitArguments(commandLine ? commandLine : L""))
        takeArgument(argument, &line);
    int unattended = 0;
    for (int i = KW_SETUP; i < KW_COUNT; i++)
        unattended |= line.table[i].found;
    if (!unattended)
        return 0;
    // A log name too long for a path is a log that cannot be written: the run goes on without it.
    valueOf(line.table[KW_LOG], request->log, PATH_CHARS);
    valueOf(line.table[KW_DRIVER], request->driver, kActionDriverChars);
    request->documentsTooLong = valueOf(line.table[KW_DOCUMENTS], request->documents, MAX_PATH) < 0;
    check(request, line);
    return 1;
}
