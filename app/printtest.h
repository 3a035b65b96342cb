// -PRINTTEST: one page printed to the PDF printer through the system's printing, and the PDF it
// must become, waited for and checked.
#pragma once
#include <windows.h>

enum PrintTestResult { PRINT_DONE, PRINT_NOT_STARTED, PRINT_STUCK, PRINT_NO_PDF, PRINT_NOT_PDF };

// Prints the test page and waits up to waitSeconds for `pdf` to be written anew. A file already
// at `pdf` is moved aside first and put back afterwards; what the test wrote is left beside it
// as "<name>-test.pdf".
PrintTestResult appPrintTestPage(const wchar_t *pdf, int waitSeconds);
