// Entry point of tlpdf, the Tessaloom PDF Setup utility.
#include <windows.h>
#include "app/window.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE previous, LPWSTR commandLine, int showCommand)
{
    return appRun(instance, previous, commandLine, showCommand);
}
