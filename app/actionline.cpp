// The unattended command line: -SETUP, -STATUS or -UNINSTALL with -LOG, -DRIVER and -DOCUMENTS.
//
// A line becomes unattended only when it names one of these keywords; any other line (none, a
// file name, SOURCE and TARGET, unknown keywords alone) opens the window exactly as it always did.
#include "app/actionline.h"
#include <cstdlib>
#include <cwchar>
#include <initializer_list>
#include "res/resource.h"
#include "support/kw.h"
#include "support/mem.h"
#include "support/str.h"

namespace {

enum Entry { KW_SOURCE, KW_TARGET, KW_SETUP, KW_STATUS, KW_UNINSTALL, KW_LOG, KW_DRIVER, KW_DOCUMENTS, KW_COUNT };
const wchar_t *const kNames[KW_COUNT] = {L"SOURCE", L"TARGET", L"SETUP", L"STATUS",
                                         L"UNINSTALL", L"LOG", L"DRIVER", L"DOCUMENTS"};

// Copies an entry's value; 0 when it has none, -1 when it does not fit.
int valueOf(const KeywordEntry &entry, wchar_t *out, int capacity)
{
    out[0] = L'\0';
    MemLock<wchar_t> value(entry.value);
    if (!value || !value.get()[0])
        return 0;
    if (wcslen(value.get()) > static_cast<size_t>(capacity))
        return -1;
    strCopyN(out, value.get(), capacity);
    return 1;
}

void refuse(ActionRequest *request, UINT id, const wchar_t *detail = L"")
{
    if (request->usageId)
        return;  // the first problem found is the one reported
    request->usageId = id;
    strCopyN(request->usageDetail, detail, PATH_CHARS);
}

void check(ActionRequest *request, const KeywordEntry *table, int count, int error, const wchar_t *rest)
{
    if (error == KW_MISSING_BRACKET)
        refuse(request, IDS_USAGE_BRACKET);
    if (error == KW_UNKNOWN_KEYWORD)
        refuse(request, IDS_USAGE_UNKNOWN);
    if (table[KW_SOURCE].found || table[KW_TARGET].found)
        refuse(request, IDS_USAGE_SOURCE_TARGET);
    int actions = 0, distinct = 0;
    for (int i = 0; i < KW_COUNT; i++) {
        distinct += table[i].found ? 1 : 0;
        if (table[i].found && i >= KW_SETUP && i <= KW_UNINSTALL) {
            actions++;
            request->action = static_cast<AppAction>(ACTION_SETUP + (i - KW_SETUP));
        }
    }
    if (actions != 1)
        refuse(request, IDS_USAGE_ACTIONS);
    if (count != distinct)
        refuse(request, IDS_USAGE_REPEATED);
    if (rest && *rest)
        refuse(request, IDS_USAGE_TRAILING, rest);
    for (Entry e : {KW_LOG, KW_DRIVER, KW_DOCUMENTS})
        if (table[e].found && !table[e].value)
            refuse(request, IDS_USAGE_NO_VALUE, kNames[e]);
    if (table[KW_DRIVER].found && request->action != ACTION_SETUP)
        refuse(request, IDS_USAGE_NOT_WITH, kNames[KW_DRIVER]);
    if (table[KW_DOCUMENTS].found && request->action == ACTION_UNINSTALL)
        refuse(request, IDS_USAGE_NOT_WITH, kNames[KW_DOCUMENTS]);
}

}  // namespace

int appParseActionLine(const wchar_t *commandLine, ActionRequest *request)
{
    ZeroMemory(request, sizeof(*request));
    const wchar_t *start = commandLine ? commandLine : L"";
    while (*start == L' ')
        start++;
    if (*start != L'-')
        return 0;
    wchar_t *copy = strDup(start);
    if (!copy)
        return 0;  // as the window's own parse: without memory the keywords are skipped
    KeywordEntry table[KW_COUNT];
    ZeroMemory(table, sizeof(table));
    for (int i = 0; i < KW_COUNT; i++)
        strCopyN(table[i].keyword, kNames[i], 12);
    int count = 0, error = 0;
    wchar_t *rest = kwParseKeywords(copy, table, KW_COUNT, &count, &error);
    int unattended = 0;
    for (int i = KW_SETUP; i < KW_COUNT; i++)
        unattended |= table[i].found ? 1 : 0;
    if (unattended) {
        while (rest && *rest == L' ')
            rest++;
        // A log name too long for a path is a log that cannot be written: the run goes on without it.
        valueOf(table[KW_LOG], request->log, PATH_CHARS);
        valueOf(table[KW_DRIVER], request->driver, kActionDriverChars);
        request->documentsTooLong = valueOf(table[KW_DOCUMENTS], request->documents, MAX_PATH) < 0;
        check(request, table, count, error, rest);
    }
    kwFreeValues(table, KW_COUNT);
    free(copy);
    return unattended;
}
