// Who can change the files that Ghostscript obeys as LocalSystem: the response file, the data
// folder and the folder that holds it. Only LocalSystem, Administrators, TrustedInstaller and
// members of the local Administrators group may; anyone else could run programs as LocalSystem.
#include "detect/trust.h"
#include <aclapi.h>
#include <lm.h>
#include <sddl.h>
#include <cwchar>
#include <initializer_list>
#include "support/handles.h"
#include "support/path.h"
#include "support/str.h"
#include "support/sys.h"
#include "support/syslib.h"

namespace {

struct Right {
    DWORD mask;
    const wchar_t *name;
};
// Each lets its holder put other contents or other options in place.
const Right kObjectRights[] = {
    {FILE_WRITE_DATA, L"write data"},   {FILE_APPEND_DATA, L"append data"}, {DELETE, L"delete"},
    {FILE_DELETE_CHILD, L"delete child"}, {WRITE_DAC, L"write DAC"},        {WRITE_OWNER, L"write owner"},
    {GENERIC_WRITE, L"generic write"},  {GENERIC_ALL, L"generic all"},
};
// On the folder that holds it, each lets its holder replace the entry; making new entries (as
// Users may in ProgramData) does not.
const Right kHolderRights[] = {
    {FILE_DELETE_CHILD, L"delete child"}, {WRITE_DAC, L"write DAC"}, {WRITE_OWNER, L"write owner"},
    {GENERIC_ALL, L"generic all"},
};
const wchar_t *const kTrustedSids[] = {L"S-1-5-18", L"S-1-5-32-544",
                                       L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"};

bool sidIs(PSID sid, const wchar_t *text)
{
    PSID other = nullptr;
    bool same = ConvertStringSidToSidW(text, &other) && EqualSid(sid, other);
    LocalFree(other);
    return same;
}

bool isRunningAccount(PSID sid)
{
    ScopedHandle token;
    union {
        TOKEN_USER user;
        BYTE bytes[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    } info;
    DWORD size = 0;
    return OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.out()) &&
           GetTokenInformation(token.get(), TokenUser, &info, sizeof(info), &size) && EqualSid(sid, info.user.User.Sid);
}

// Members of the local Administrators group, asked by the group's SID (its name is localised).
bool isAdministratorsMember(PSID sid)
{
    typedef NET_API_STATUS(WINAPI * GetMembersFn)(LPCWSTR, LPCWSTR, DWORD, BYTE **, DWORD, DWORD *, DWORD *,
                                                    PDWORD_PTR);
    typedef NET_API_STATUS(WINAPI * FreeFn)(void *);
    static ScopedModule netapi = sysLoadSystemLibrary(L"netapi32.dll");
    auto getMembers = netapi ? reinterpret_cast<GetMembersFn>(reinterpret_cast<void (*)()>(
                                   GetProcAddress(netapi.get(), "NetLocalGroupGetMembers")))
                             : nullptr;
    auto freeBuffer = netapi ? reinterpret_cast<FreeFn>(
                                   reinterpret_cast<void (*)()>(GetProcAddress(netapi.get(), "NetApiBufferFree")))
                             : nullptr;
    PSID group = nullptr;
    wchar_t name[256], domain[256];
    DWORD nameSize = 256, domainSize = 256;
    SID_NAME_USE use;
    bool member = false;
    if (getMembers && freeBuffer && ConvertStringSidToSidW(L"S-1-5-32-544", &group) &&
        LookupAccountSidW(nullptr, group, name, &nameSize, domain, &domainSize, &use)) {
        BYTE *buffer = nullptr;
        DWORD read = 0, total = 0;
        if (getMembers(nullptr, name, 0, &buffer, MAX_PREFERRED_LENGTH, &read, &total, nullptr) == 0 && buffer) {
            const LOCALGROUP_MEMBERS_INFO_0 *members = reinterpret_cast<const LOCALGROUP_MEMBERS_INFO_0 *>(buffer);
            for (DWORD i = 0; i < read && !member; i++)
                member = members[i].lgrmi0_sid && EqualSid(members[i].lgrmi0_sid, sid);
            freeBuffer(buffer);
        }
    }
    LocalFree(group);
    return member;
}

// The running account counts as trusted when it is an administrator, without asking the group.
bool isTrusted(PSID sid)
{
    for (const wchar_t *trusted : kTrustedSids)
        if (sidIs(sid, trusted))
            return true;
    return (isRunningAccount(sid) && sysIsAdmin()) || isAdministratorsMember(sid);
}

void describeSid(PSID sid, wchar_t *out, int capacity)
{
    wchar_t name[128] = L"", domain[128] = L"", *text = nullptr;
    DWORD nameSize = 128, domainSize = 128;
    SID_NAME_USE use;
    if (!LookupAccountSidW(nullptr, sid, name, &nameSize, domain, &domainSize, &use))
        wcscpy(name, L"(unknown account)"), domain[0] = L'\0';
    ConvertSidToStringSidW(sid, &text);
    _snwprintf(out, capacity, L"%s%s%s (%s)", domain, domain[0] ? L"\\" : L"", name, text ? text : L"?");
    out[capacity - 1] = L'\0';
    LocalFree(text);
}

// Calls visit(sid, right) for the owner and for each principal an ACE grants one of `rights`;
// visit returns false to stop. ERROR_SUCCESS, or why the security could not be read.
template <size_t N, typename Visit> DWORD visitChangers(const wchar_t *path, const Right (&rights)[N], Visit visit)
{
    PSID owner = nullptr;
    PACL dacl = nullptr;
    PSECURITY_DESCRIPTOR sd = nullptr;
    DWORD error = GetNamedSecurityInfoW(const_cast<wchar_t *>(path), SE_FILE_OBJECT,
                                        OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr, &dacl,
                                        nullptr, &sd);
    if (error != ERROR_SUCCESS)
        return error;
    bool going = !owner || visit(owner, L"owner");
    for (DWORD i = 0; going && dacl && i < dacl->AceCount; i++) {
        ACE_HEADER *ace = nullptr;
        if (!GetAce(dacl, i, reinterpret_cast<void **>(&ace)) || ace->AceType != ACCESS_ALLOWED_ACE_TYPE ||
            (ace->AceFlags & INHERIT_ONLY_ACE))
            continue;
        ACCESS_ALLOWED_ACE *allowed = reinterpret_cast<ACCESS_ALLOWED_ACE *>(ace);
        for (const Right &right : rights) {
            if (allowed->Mask & right.mask) {
                going = visit(&allowed->SidStart, right.name);
                break;
            }
        }
    }
    LocalFree(sd);
    return ERROR_SUCCESS;
}

// Junctions and symbolic links let whoever made them point the folder elsewhere; a cloud file's
// placeholder (its own reparse tags) is an ordinary file for this.
bool isLink(const wchar_t *path)
{
    WIN32_FIND_DATAW data;
    ScopedFind find(FindFirstFileW(path, &data));
    if (!find || !(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return false;
    return (data.dwReserved0 & 0xFFFF0FFF) != 0x9000001A;  // IO_REPARSE_TAG_CLOUD, any of its 16 kinds
}

// 1 when only trusted principals hold `rights` on `path` (as owner or by an ACE).
int onlyTrusted(const wchar_t *path, bool holder, TrustFinding *finding)
{
    int trusted = 1;
    auto visit = [&](PSID sid, const wchar_t *right) {
        if (isTrusted(sid))
            return true;
        strCopyN(finding->object, path, MAX_PATH);
        describeSid(sid, finding->principal, 160);
        strCopyN(finding->right, right, 63);
        trusted = 0;
        return false;
    };
    DWORD error = holder ? visitChangers(path, kHolderRights, visit) : visitChangers(path, kObjectRights, visit);
    if (error != ERROR_SUCCESS) {
        strCopyN(finding->object, path, MAX_PATH);
        _snwprintf(finding->principal, 160, L"(its security cannot be read: error %lu)", error);
        finding->principal[159] = L'\0';
        strCopyN(finding->right, L"unknown", 63);
        return 0;
    }
    return trusted;
}

bool exists(const wchar_t *path) { return pathProbe(path, nullptr) == ERROR_SUCCESS; }

void parentOf(const wchar_t *path, wchar_t *out)
{
    strCopyN(out, path, MAX_PATH);
    wchar_t *separator = wcsrchr(out, L'\\');
    if (separator && separator > out + 2)
        *separator = L'\0';
    else if (separator)
        separator[1] = L'\0';  // the root keeps its backslash
}

}  // namespace

int trustCheckDataFolder(const wchar_t *dataFolder, const wchar_t *rspFile, TrustFinding *finding)
{
    ZeroMemory(finding, sizeof(*finding));
    for (const wchar_t *link : {dataFolder, rspFile}) {
        if (exists(link) && isLink(link)) {
            strCopyN(finding->object, link, MAX_PATH);
            strCopyN(finding->principal, L"whoever made it", 159);
            strCopyN(finding->right, L"a link (junction or symbolic link)", 63);
            return 0;
        }
    }
    // A folder still to be made inherits from the one it is made in: that one is judged instead.
    wchar_t folder[MAX_PATH + 1], holder[MAX_PATH + 1];
    strCopyN(folder, dataFolder, MAX_PATH);
    while (!exists(folder) && wcslen(folder) > 3) {
        parentOf(folder, holder);
        strCopyN(folder, holder, MAX_PATH);
    }
    parentOf(folder, holder);
    if (exists(rspFile) && !onlyTrusted(rspFile, false, finding))
        return 0;
    return onlyTrusted(folder, false, finding) && onlyTrusted(holder, true, finding);
}

void trustDescribe(const wchar_t *path, wchar_t *out, int capacity)
{
    out[0] = L'\0';
    int used = 0;
    auto visit = [&](PSID sid, const wchar_t *right) {
        wchar_t who[160];
        describeSid(sid, who, 160);
        int n = _snwprintf(out + used, capacity - used, used ? L"; %s: %s%s" : L"%s: %s%s", right, who,
                           isTrusted(sid) ? L"" : L" [not an administrator]");
        used = n < 0 ? capacity - 1 : used + n;
        out[capacity - 1] = L'\0';
        return used < capacity - 1;
    };
    if (visitChangers(path, kObjectRights, visit) != ERROR_SUCCESS)
        out[0] = L'\0';
}
