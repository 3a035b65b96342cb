// Process-wide shell state that the support layer consults: module instance and frame window.
#include "support/appstate.h"

static HINSTANCE g_instance;
static HWND g_frameWindow;

void appSetInstance(HINSTANCE instance) { g_instance = instance; }

// Before the shell registers its instance (tests), strings come from the executable.
HINSTANCE appGetInstance() { return g_instance ? g_instance : GetModuleHandleW(nullptr); }

void appSetFrameWindow(HWND frame) { g_frameWindow = frame; }

HWND appGetFrameWindow() { return g_frameWindow; }

static int g_windowless;
static int g_lookOnly;

void appSetWindowless(int on) { g_windowless = on; }

int appIsWindowless() { return g_windowless; }

void appSetLookOnly(int on) { g_lookOnly = on; }

int appIsLookOnly() { return g_lookOnly; }

static unsigned g_commandSerial;
static unsigned g_commandsRun;
static int g_commandDepth;

AppCommand::AppCommand()
{
    if (g_commandDepth++ == 0)
        g_commandSerial = ++g_commandsRun;
}

AppCommand::~AppCommand()
{
    if (--g_commandDepth == 0)
        g_commandSerial = 0;
}

unsigned appCommandSerial() { return g_commandSerial; }

static AppIdentity g_identity;

void appStoreIdentity(const AppIdentity &identity) { g_identity = identity; }

const AppIdentity &appIdentity() { return g_identity; }
