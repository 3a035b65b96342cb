// Reading text files: lines of ANSI, UTF-8 and UTF-16 files, and key=value lookup. The writer
// is in support/fl.h.
#pragma once
#include <windows.h>

#include "support/handles.h"

enum TxfEncoding {
    TXF_ANSI = 1,
    TXF_UTF16LE = 2,
    TXF_UTF16BE = 3,
    TXF_UTF8 = 4,
};

// State of one file being read; txfClose (or the destructor) releases everything and zeroes it.
struct TextReader {
    ScopedHandle file;
    int encoding = 0;
    DWORD size = 0;       // bytes in the file
    DWORD remaining = 0;  // bytes after the current position
    int markLength = 0;   // byte order mark: 0, 2 or 3 bytes
    bool longestKnown = false;
    int longestLine = 0;   // characters
    int longestBytes = 0;  // bytes, for TXF_ANSI and TXF_UTF8
    wchar_t *lineBuffer = nullptr;
    char *byteBuffer = nullptr;
    DWORD error = 0;  // why txfOpen failed

    // Read-ahead, so that reading byte by byte does not cost a system call per byte.
    DWORD position = 0;
    DWORD chunkStart = 0;
    DWORD chunkLength = 0;
    BYTE chunk[4096] = {};

    TextReader() = default;
    ~TextReader();
    TextReader(const TextReader &) = delete;
    TextReader &operator=(const TextReader &) = delete;
};

int txfOpen(const wchar_t *path, TextReader *reader);
int txfLongestLine(TextReader *reader, int rewind);
wchar_t *txfLineBuffer(TextReader *reader);
int txfReadLine(TextReader *reader, wchar_t *destination, int capacity, int *length, int *lineEnded);
void txfClose(TextReader *reader);

// The destination holds capacity + 1 characters.
int txfGetValue(const wchar_t *path, const wchar_t *key, wchar_t *destination, int capacity);

// Process-wide: read mark-less files with double-byte lead bytes as UTF-8. Off in this program.
void txfSetAnsiAsUtf8(int on);
