// Checks the compiled resources the way the program meets them: this test executable links the
// same resource object, so everything is read back from its own module.
#include <windows.h>
#include <gtest/gtest.h>

#include <cstring>
#include <cwctype>
#include <set>
#include <string>
#include <vector>

#include "res/resource.h"
#include "tlpdf_config.h"

namespace {

HMODULE self() { return GetModuleHandleW(nullptr); }

std::wstring selfPath() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

std::wstring widen(const char *text) {
    std::wstring out;
    for (; *text; ++text) out += static_cast<wchar_t>(static_cast<unsigned char>(*text));
    return out;
}

std::wstring lower(std::wstring text) {
    for (auto &c : text) c = static_cast<wchar_t>(std::towlower(c));
    return text;
}

// ---- String table ------------------------------------------------------------------------------

// With a zero buffer size LoadStringW hands back a read-only pointer into the resource and the
// exact length, so nothing is cut and trailing control characters stay visible.
std::wstring loadExact(UINT id, int *length) {
    const wchar_t *text = nullptr;
    *length = LoadStringW(self(), id, reinterpret_cast<LPWSTR>(&text), 0);
    return *length > 0 && text ? std::wstring(text, *length) : std::wstring();
}

struct StringRow {
    UINT id;
    const wchar_t *text;
};

const StringRow kStrings[] = {
    {IDS_EXEC_FAILED, L"Failed to execute:"},
    {IDS_CAPTION_WARNING, L" Warning"},
    {IDS_CAPTION_ERROR, L"Error"},
    {IDS_CAPTION_MESSAGE, L"Message"},
    {IDS_PORT_FAILED, L"Failed to add TessaloomPDF redirected port."},
    {IDS_PRINTER_FAILED, L"Failed to add %s printer driver.\r\n"},
    {IDS_GS_INSTALLED, L"Ghostscript version %s installed\r\n"},
    {IDS_GS_NOT_INSTALLED, L"Ghostscript not installed.\r\n"},
    {IDS_REDMON_INSTALLED, L"RedMon installed.\r\n"},
    {IDS_REDMON_NOT_INSTALLED, L"RedMon not installed.\r\n"},
    {IDS_STATUS_READY, L"The required components have been installed. You can skip the instructions "
                       L"and select the [Setup TessaloomPDF Now] button directly."},
    {IDS_STATUS_DONE, L"Setup done. You can close this setup program and restart Tessaloom."},
    {IDS_STATUS_MISSING, L"Please select the Instruction button to download Ghostscript and Redmon."},
    {IDS_OS_REFUSED, L"Because your Windows is not Vista nor Windows 7, there's no need for using this "
                     L"program. The program will close."},
    {IDS_DRIVER_INSTALLED, L"TessaloomPDF driver installed\r\n"},
    {IDS_DRIVER_NOT_INSTALLED, L"TessaloomPDF driver not installed.\r\n"},
    {IDS_SETUP_COMPLETED, L"TessaloomPDF driver setup completed. You can now restart your Tessaloom program."},
    {IDS_SETUP_FAILED, L"TessaloomPDF driver setup failed."},
    {IDS_PROGRESS_SETUP, L"Setting up PDF support. It may take a few minutes. Please wait..."},
    {IDS_PROGRESS_PRINTER, L"Setting up TLPDF virtual printer. It may take a few minutes. Please wait..."},
    {IDS_PROGRESS_CAPTION, L"Enabling PDF Support"},
    {IDS_DRIVER_NAME_REFUSED, L"The printer driver name \"%s\" cannot be used: it contains a double quote, a "
                              L"percent sign, a control character or a character that this system's code page "
                              L"cannot hold exactly. Correct the Printer line of ~tlpdf_cust.txt beside this program."},
    {IDS_SPOOLER_REFUSED, L"The Print Spooler service is disabled or does not start, so the TessaloomPDF printer "
                          L"cannot be set up. Nothing was changed. Open Services (services.msc), set Print Spooler's "
                          L"startup type to Automatic, start it, then run this setup again."},
    {IDS_DATA_FOLDER_TOO_LONG, L"The folder %s has too long a path for the TessaloomPDF printer's response file. "
                               L"Nothing was changed. Move the Documents folder to a shorter path, then run this "
                               L"setup again."},
    {IDS_BATCH_FILE_REFUSED, L"The setup file \"%s\" could not be created safely in the temporary folder, so the "
                             L"printer was not installed. Close other programs and try again."},
};

// Callers use these ids and rely on them loading nothing.
const UINT kSilentIds[] = {
    IDS_MEMGALLOC_FAILED, IDS_VERSION_FORMAT,
    IDS_FLERR_KIND1, IDS_FLERR_KIND2, IDS_FLERR_KIND3, IDS_FLERR_KIND4, IDS_FLERR_KIND5,
    IDS_FLERR_KIND6, IDS_FLERR_KIND21, IDS_FLERR_KIND24, IDS_FLERR_KIND22, IDS_FLERR_KIND23,
    IDS_FLERR_KIND25,
    IDS_FOLDER_BLOCKED, IDS_SAVE_DATA_CAPTION,
    IDS_WAIT_ABANDONED, IDS_WAIT_TIMEOUT, IDS_WAIT_FAILED,
    IDS_OPEN_FAILED, IDS_OPEN_FAILED_TARGET, IDS_OPEN_FAILED_NONE,
    IDS_MISSING_BOTH, IDS_MISSING_REDMON, IDS_MISSING_GS,
};

TEST(ResStrings, EveryTextLoadsExactly) {
    for (const auto &row : kStrings) {
        SCOPED_TRACE(testing::Message() << "string " << row.id);
        int length = -1;
        EXPECT_EQ(loadExact(row.id, &length), row.text);
        EXPECT_EQ(length, static_cast<int>(wcslen(row.text)));
        // The by-id message boxes load with capacity 255: a longer text would be cut.
        EXPECT_LE(length, 254);
    }
}

TEST(ResStrings, SilentIdsLoadNothing) {
    for (UINT id : kSilentIds) {
        SCOPED_TRACE(testing::Message() << "string " << id);
        // The buffer form, as resLoadString calls it.
        wchar_t buffer[8];
        EXPECT_EQ(LoadStringW(self(), id, buffer, 8), 0);
    }
}

BOOL CALLBACK collectBundle(HMODULE, LPCWSTR, LPWSTR name, LONG_PTR param) {
    if (IS_INTRESOURCE(name)) {
        auto *bundles = reinterpret_cast<std::vector<UINT> *>(param);
        bundles->push_back(static_cast<UINT>(reinterpret_cast<ULONG_PTR>(name)));
    }
    return TRUE;
}

TEST(ResStrings, NoTextBeyondTheTable) {
    // Walk every string bundle (16 ids each) so that a text slipped in for a silent id, or for
    // any id nobody expects, is caught as well.
    std::vector<UINT> bundles;
    EnumResourceNamesW(self(), RT_STRING, collectBundle, reinterpret_cast<LONG_PTR>(&bundles));
    ASSERT_FALSE(bundles.empty());
    std::set<UINT> expected;
    for (const auto &row : kStrings) expected.insert(row.id);
    // The unattended actions' texts: exit-code meanings, then the messages up to the button's.
    for (UINT id = IDS_EXIT_FIRST; id <= IDS_SETUP_BUSY; ++id)
        if (id <= IDS_EXIT_FIRST + 14 || id >= IDS_USAGE_BRACKET) expected.insert(id);
    std::set<UINT> found;
    for (UINT bundle : bundles) {
        for (UINT id = (bundle - 1) * 16; id < bundle * 16; ++id) {
            int length = 0;
            loadExact(id, &length);
            if (length > 0) found.insert(id);
        }
    }
    EXPECT_EQ(found, expected);
}

// ---- Dialog templates --------------------------------------------------------------------------

// Reads DLGTEMPLATEEX / DLGITEMTEMPLATEEX fields in order; items start on 32-bit boundaries.
class TemplateReader {
public:
    TemplateReader(const BYTE *data, DWORD size) : data_(data), size_(size) {}
    bool ok() const { return ok_; }
    WORD u16() { WORD v = 0; take(&v, 2); return v; }
    DWORD u32() { DWORD v = 0; take(&v, 4); return v; }
    short i16() { return static_cast<short>(u16()); }
    BYTE u8() { BYTE v = 0; take(&v, 1); return v; }
    void align4() { pos_ = (pos_ + 3) & ~static_cast<DWORD>(3); }
    void skip(DWORD count) { pos_ += count; ok_ = ok_ && pos_ <= size_; }

    // A name-or-ordinal field: 0 for none, 0xFFFF followed by an ordinal, or a string.
    std::wstring nameOrOrdinal() {
        WORD first = u16();
        if (first == 0xFFFF) return L"#" + std::to_wstring(u16());
        std::wstring text;
        for (WORD c = first; c != 0 && ok_; c = u16()) text += static_cast<wchar_t>(c);
        return text;
    }

private:
    void take(void *out, DWORD count) {
        if (!ok_ || pos_ + count > size_) { ok_ = false; return; }
        memcpy(out, data_ + pos_, count);
        pos_ += count;
    }
    const BYTE *data_;
    DWORD size_;
    DWORD pos_ = 0;
    bool ok_ = true;
};

struct Control {
    int id;
    std::wstring cls;
    std::wstring text;
    short x, y, cx, cy;
    DWORD style;
    DWORD exStyle;
};

struct Dialog {
    WORD version = 0, signature = 0;
    DWORD style = 0;
    short cx = 0, cy = 0;
    std::wstring menu, cls, caption, font;
    WORD pointSize = 0;
    std::vector<Control> controls;
};

// The predefined classes are stored as ordinals; the system maps them to these names.
std::wstring className(const std::wstring &stored) {
    if (stored == L"#128") return L"button";
    if (stored == L"#129") return L"edit";
    if (stored == L"#130") return L"static";
    return lower(stored);
}

bool loadDialog(LPCWSTR name, Dialog *dialog) {
    HRSRC info = FindResourceW(self(), name, MAKEINTRESOURCEW(5));  // RT_DIALOG
    if (!info) return false;
    HGLOBAL handle = LoadResource(self(), info);
    const BYTE *data = handle ? static_cast<const BYTE *>(LockResource(handle)) : nullptr;
    if (!data) return false;
    TemplateReader r(data, SizeofResource(self(), info));
    dialog->version = r.u16();
    dialog->signature = r.u16();
    r.u32();  // help id
    r.u32();  // extended style
    dialog->style = r.u32();
    WORD count = r.u16();
    r.i16();
    r.i16();
    dialog->cx = r.i16();
    dialog->cy = r.i16();
    dialog->menu = r.nameOrOrdinal();
    dialog->cls = r.nameOrOrdinal();
    dialog->caption = r.nameOrOrdinal();
    if (dialog->style & (DS_SETFONT | DS_SHELLFONT)) {
        dialog->pointSize = r.u16();
        r.u16();  // weight
        r.u8();   // italic
        r.u8();   // character set
        dialog->font = r.nameOrOrdinal();
    }
    for (WORD i = 0; i < count && r.ok(); ++i) {
        r.align4();
        Control c{};
        r.u32();  // help id
        c.exStyle = r.u32();
        c.style = r.u32();
        c.x = r.i16();
        c.y = r.i16();
        c.cx = r.i16();
        c.cy = r.i16();
        c.id = static_cast<int>(r.u32());
        c.cls = className(r.nameOrOrdinal());
        c.text = r.nameOrOrdinal();
        r.skip(r.u16());  // creation data
        dialog->controls.push_back(c);
    }
    return r.ok();
}

struct DialogExpectation {
    const wchar_t *label;
    LPCWSTR name;
    short cx, cy;
    const wchar_t *caption;
    DWORD required;   // style bits the window must have
    DWORD forbidden;  // and must not have
    std::vector<Control> controls;
};

std::vector<DialogExpectation> dialogExpectations() {
    const DWORD group = 0x50000007, label = 0x50020000, push = 0x50010000;
    return {
        {L"MAIN_DLG", L"main_dlg", 284, 230, L"",
         WS_CHILD | DS_CONTROL, WS_POPUP | WS_CAPTION,
         {
             {IDC_STATIC, L"button", L"Installed Components:", 7, 8, 267, 79, group, 0},
             {IDC_COMPONENTS, L"static", L"Static", 18, 19, 247, 61, label, 0},
             {IDC_STATUS, L"static", L"", 15, 91, 254, 28, label, 0},
             {IDC_INSTRUCTIONS, L"button", L"Instructions...", 16, 126, 114, 14, push, 0},
             {IDC_STATIC, L"static", L"(You must be connected to the internet.)", 141, 131, 128, 8, label, 0},
             {IDC_URL, L"edit", L"", 16, 144, 255, 15, 0x50810880, 0},
             {IDC_SETUP, L"button", L"Setup TessaloomPDF Now...", 16, 164, 114, 14, push, 0},
             {IDC_ABOUT, L"button", L"About...", 16, 183, 114, 14, push, 0},
             {IDC_DEBUG, L"button", L"Check to run in Debug mode", 149, 167, 115, 10, 0x50010003, 0},
             {IDC_REPORT, L"button", L"Submit Debug Report...", 148, 183, 98, 14, push, 0},
             {IDC_EXIT, L"button", L"Exit", 105, 204, 50, 14, push, 0},
         }},
        {L"about", MAKEINTRESOURCEW(IDD_ABOUT), 244, 98, L"About TessaloomPDF",
         WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME, WS_CHILD,
         {
             {IDC_STATIC, L"button", L"", 7, 6, 230, 84, group, 0},
             {IDC_VERSION, L"static", L"Version", 13, 15, 208, 8, 0x50020001, 0},
             {IDC_COPYRIGHT, L"static", L"Copyright (C) 2026 Brindlecourt", 14, 33, 216, 8, 0x50020201, 0},
             {IDC_WEBSITE, L"button", widen(TLPDF_VENDOR_URL), 42, 50, 156, 14, push, 0},
             {IDOK, L"button", L"OK", 97, 69, 50, 14, 0x50030001, 0},
         }},
        // No system menu: the box offers no way to close it.
        {L"PROGRESS_MSGBOX", L"progress_msgbox", 259, 68, L"Progress",
         WS_POPUP | WS_CAPTION | WS_VISIBLE, WS_CHILD | WS_SYSMENU,
         {
             {IDC_STATIC, L"button", L"", 6, 7, 247, 56, group, 0},
             {IDC_PROGRESS_TEXT, L"edit", L"", 11, 14, 236, 45, 0x50800044, 0},
         }},
    };
}

TEST(ResDialogs, TemplatesHoldTheTabulatedControls) {
    // Names are looked up in lower case, as the program does; resource names match regardless.
    for (const auto &expected : dialogExpectations()) {
        SCOPED_TRACE(testing::Message() << "dialog " << testing::PrintToString(std::wstring(expected.label)));
        Dialog d;
        ASSERT_TRUE(loadDialog(expected.name, &d));
        EXPECT_EQ(d.version, 1);
        EXPECT_EQ(d.signature, 0xFFFF);  // extended template
        EXPECT_EQ(d.cx, expected.cx);
        EXPECT_EQ(d.cy, expected.cy);
        EXPECT_EQ(d.caption, expected.caption);
        EXPECT_EQ(d.style & expected.required, expected.required);
        EXPECT_EQ(d.style & expected.forbidden, 0u);
        EXPECT_EQ(d.menu, L"");
        EXPECT_EQ(d.cls, L"");
        EXPECT_EQ(d.font, L"MS Shell Dlg");
        EXPECT_EQ(d.pointSize, 8);
        ASSERT_EQ(d.controls.size(), expected.controls.size());
        for (size_t i = 0; i < expected.controls.size(); ++i) {
            const Control &want = expected.controls[i], &got = d.controls[i];
            SCOPED_TRACE(testing::Message() << "control #" << i << " id " << want.id);
            EXPECT_EQ(got.id, want.id);
            EXPECT_EQ(got.cls, want.cls);
            EXPECT_EQ(got.text, want.text);
            EXPECT_EQ(got.x, want.x);
            EXPECT_EQ(got.y, want.y);
            EXPECT_EQ(got.cx, want.cx);
            EXPECT_EQ(got.cy, want.cy);
            EXPECT_EQ(got.style, want.style) << std::hex << "got 0x" << got.style;
            EXPECT_EQ(got.exStyle, want.exStyle);
        }
    }
}

// ---- Icon, menu, accelerators ------------------------------------------------------------------

TEST(ResIconMenuAccel, IconLoadsByNameInBothSizes) {
    for (int size : {16, 32}) {
        SCOPED_TRACE(size);
        HICON icon = static_cast<HICON>(LoadImageW(self(), L"tlpdf", IMAGE_ICON, size, size, 0));
        ASSERT_NE(icon, nullptr);
        ICONINFO info = {};
        ASSERT_TRUE(GetIconInfo(icon, &info));
        BITMAP bitmap = {};
        GetObjectW(info.hbmColor, sizeof bitmap, &bitmap);
        EXPECT_EQ(bitmap.bmWidth, size);
        DeleteObject(info.hbmColor);
        DeleteObject(info.hbmMask);
        DestroyIcon(icon);
    }
}

struct MenuRow {
    const wchar_t *popup;
    std::vector<std::pair<UINT, const wchar_t *>> items;
};

TEST(ResIconMenuAccel, MenuCarriesTheMainCommands) {
    const MenuRow rows[] = {
        {L"Actions", {{IDM_SETUP, L"Setup TessaloomPDF Now..."}, {IDM_EXIT, L"E&xit"}}},
        {L"&Help", {{IDM_INSTRUCTIONS, L"Setup Help..."}, {IDM_ABOUT, L"&About ..."}}},
    };
    HMENU menu = LoadMenuW(self(), L"tlpdf");
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(GetMenuItemCount(menu), 2);
    wchar_t text[64];
    for (int p = 0; p < 2; ++p) {
        SCOPED_TRACE(testing::Message() << "popup " << p);
        GetMenuStringW(menu, p, text, 64, MF_BYPOSITION);
        EXPECT_STREQ(text, rows[p].popup);
        HMENU sub = GetSubMenu(menu, p);
        ASSERT_NE(sub, nullptr);
        ASSERT_EQ(GetMenuItemCount(sub), static_cast<int>(rows[p].items.size()));
        for (int i = 0; i < GetMenuItemCount(sub); ++i) {
            SCOPED_TRACE(testing::Message() << "item " << i);
            EXPECT_EQ(GetMenuItemID(sub, i), rows[p].items[i].first);
            GetMenuStringW(sub, i, text, 64, MF_BYPOSITION);
            EXPECT_STREQ(text, rows[p].items[i].second);
        }
    }
    DestroyMenu(menu);
}

TEST(ResIconMenuAccel, AcceleratorsOpenAbout) {
    HACCEL table = LoadAcceleratorsW(self(), MAKEINTRESOURCEW(IDR_ACCEL));
    ASSERT_NE(table, nullptr);
    ACCEL entries[4] = {};
    ASSERT_EQ(CopyAcceleratorTableW(table, entries, 4), 2);
    const WORD keys[] = {'?', '/'};
    for (int i = 0; i < 2; ++i) {
        SCOPED_TRACE(testing::Message() << "accelerator " << i);
        EXPECT_EQ(entries[i].cmd, IDM_ABOUT);
        EXPECT_EQ(entries[i].key, keys[i]);
        EXPECT_EQ(entries[i].fVirt & ~0x80, FALT);  // character, not virtual key; 0x80 marks the end
    }
    DestroyAcceleratorTable(table);
}

// ---- Version -----------------------------------------------------------------------------------

TEST(ResVersion, ReadsAsTheAboutBoxAndStartUpReadIt) {
    std::wstring path = selfPath();
    DWORD handle = 0;
    DWORD size = GetFileVersionInfoSizeW(path.c_str(), &handle);
    ASSERT_GT(size, 0u);
    std::vector<BYTE> block(size);
    ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, size, block.data()));

    VS_FIXEDFILEINFO *fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\", reinterpret_cast<void **>(&fixed), &length));
    EXPECT_EQ(HIWORD(fixed->dwProductVersionMS), TLPDF_VERSION_MAJOR);
    EXPECT_EQ(LOWORD(fixed->dwProductVersionMS), TLPDF_VERSION_MINOR);
    EXPECT_EQ(HIWORD(fixed->dwProductVersionLS), TLPDF_VERSION_PATCH);
    EXPECT_EQ(LOWORD(fixed->dwProductVersionLS), TLPDF_VERSION_TWEAK);
    EXPECT_EQ(fixed->dwFileVersionMS, fixed->dwProductVersionMS);
    EXPECT_EQ(fixed->dwFileVersionLS, fixed->dwProductVersionLS);

    // The About box builds its query paths from the first translation, in lower-case hex.
    WORD *translation = nullptr;
    ASSERT_TRUE(VerQueryValueW(block.data(), L"\\VarFileInfo\\Translation",
                               reinterpret_cast<void **>(&translation), &length));
    ASSERT_GE(length, 4u);
    wchar_t language[16];
    wsprintfW(language, L"%04x%04x", translation[0], translation[1]);
    EXPECT_STREQ(language, L"040904b0");

    wchar_t numbers[32];
    wsprintfW(numbers, L"%u.%u.%u.%u", HIWORD(fixed->dwProductVersionMS), LOWORD(fixed->dwProductVersionMS),
              HIWORD(fixed->dwProductVersionLS), LOWORD(fixed->dwProductVersionLS));
    const struct {
        const wchar_t *key;
        std::wstring value;
    } rows[] = {
        {L"CompanyName", L"Brindlecourt"},
        {L"ProductName", L"TessaloomPDF"},
        {L"FileDescription", L"Tessaloom PDF Setup"},
        {L"LegalCopyright", L"Copyright (C) 2026 Brindlecourt"},
        {L"InternalName", L"tlpdf"},
        {L"OriginalFilename", L"tlpdf.exe"},
        {L"ProductVersion", numbers},  // the text agrees with the numbers
        {L"FileVersion", widen(TLPDF_VERSION_TEXT)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << testing::PrintToString(std::wstring(row.key)));
        std::wstring query = std::wstring(L"\\StringFileInfo\\") + language + L"\\" + row.key;
        wchar_t *value = nullptr;
        ASSERT_TRUE(VerQueryValueW(block.data(), query.c_str(), reinterpret_cast<void **>(&value), &length));
        EXPECT_EQ(std::wstring(value), row.value);
    }
}

// ---- Manifest ----------------------------------------------------------------------------------

BOOL CALLBACK countName(HMODULE, LPCWSTR, LPWSTR, LONG_PTR param) {
    ++*reinterpret_cast<int *>(param);
    return TRUE;
}

BOOL CALLBACK countLanguage(HMODULE, LPCWSTR, LPCWSTR, WORD, LONG_PTR param) {
    ++*reinterpret_cast<int *>(param);
    return TRUE;
}

TEST(ResManifest, OneManifestThatTheLoaderAccepts) {
    // A second manifest (a toolchain default linked in beside ours) would make the loader's
    // choice arbitrary.
    int names = 0, languages = 0;
    EnumResourceNamesW(self(), RT_MANIFEST, countName, reinterpret_cast<LONG_PTR>(&names));
    EnumResourceLanguagesW(self(), RT_MANIFEST, CREATEPROCESS_MANIFEST_RESOURCE_ID, countLanguage,
                           reinterpret_cast<LONG_PTR>(&languages));
    EXPECT_EQ(names, 1);
    EXPECT_EQ(languages, 1);

    HRSRC info = FindResourceW(self(), CREATEPROCESS_MANIFEST_RESOURCE_ID, RT_MANIFEST);
    ASSERT_NE(info, nullptr);
    const char *xml = static_cast<const char *>(LockResource(LoadResource(self(), info)));
    std::string text(xml, SizeofResource(self(), info));
    EXPECT_NE(text.find("\"requireAdministrator\""), std::string::npos);

    // Let the system parse it: it must resolve its dependency and report what it asks for.
    std::wstring path = selfPath();
    ACTCTXW ctx = {};
    ctx.cbSize = sizeof ctx;
    ctx.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    ctx.hModule = self();
    ctx.lpResourceName = CREATEPROCESS_MANIFEST_RESOURCE_ID;
    ctx.lpSource = path.c_str();
    HANDLE actctx = CreateActCtxW(&ctx);
    ASSERT_NE(actctx, INVALID_HANDLE_VALUE) << "error " << GetLastError();

    ACTIVATION_CONTEXT_RUN_LEVEL_INFORMATION level = {};
    SIZE_T needed = 0;
    EXPECT_TRUE(QueryActCtxW(0, actctx, nullptr, RunlevelInformationInActivationContext, &level, sizeof level,
                             &needed));
    EXPECT_EQ(level.RunLevel, ACTCTX_RUN_LEVEL_REQUIRE_ADMIN);
    EXPECT_EQ(level.UiAccess, 0u);

    alignas(8) BYTE compat[256] = {};
    EXPECT_TRUE(QueryActCtxW(0, actctx, nullptr, CompatibilityInformationInActivationContext, compat,
                             sizeof compat, &needed));
    DWORD count = 0;
    memcpy(&count, compat, sizeof count);
    EXPECT_EQ(count, 5u);  // Vista, 7, 8, 8.1, 10

    wchar_t dpi[16] = {};
    SIZE_T written = 0;
    EXPECT_TRUE(QueryActCtxSettingsW(0, actctx, nullptr, L"dpiAware", dpi, 16, &written));
    EXPECT_STREQ(dpi, L"true");
    ReleaseActCtx(actctx);
}

}  // namespace
