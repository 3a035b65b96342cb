// Reading text files: encoding detection, line reading and key=value lookup.
#include "support/txf.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "support/str.h"

namespace {

struct ByteOrderMark {
    BYTE bytes[3];
    int length;
    int encoding;
};

const ByteOrderMark kMarks[] = {
    {{0xEF, 0xBB, 0xBF}, 3, TXF_UTF8},
    {{0xFE, 0xFF}, 2, TXF_UTF16BE},
    {{0xFF, 0xFE}, 2, TXF_UTF16LE},
};

const DWORD kSampleBytes = 32;

bool g_ansiAsUtf8;

// The reader's position is kept here and the file is read a chunk at a time; stepping back
// over a byte that was just read is then only arithmetic.
void txfSeek(TextReader *reader, DWORD offset)
{
    reader->position = offset;
    reader->remaining = reader->size > offset ? reader->size - offset : 0;
}

bool txfFill(TextReader *reader)
{
    if (reader->position >= reader->chunkStart && reader->position - reader->chunkStart < reader->chunkLength)
        return true;
    reader->chunkStart = reader->position;
    reader->chunkLength = 0;
    LARGE_INTEGER to;
    to.QuadPart = reader->position;
    DWORD got = 0;
    if (!SetFilePointerEx(reader->file.get(), to, nullptr, FILE_BEGIN) ||
        !ReadFile(reader->file.get(), reader->chunk, sizeof reader->chunk, &got, nullptr))
        return false;
    reader->chunkLength = got;
    return got > 0;
}

DWORD txfRead(TextReader *reader, BYTE *out, DWORD count)
{
    DWORD done = 0;
    while (done < count && txfFill(reader)) {
        DWORD offset = reader->position - reader->chunkStart;
        DWORD available = reader->chunkLength - offset;
        DWORD n = count - done < available ? count - done : available;
        memcpy(out + done, reader->chunk + offset, n);
        done += n;
        txfSeek(reader, reader->position + n);
    }
    return done;
}

bool txfReadByte(TextReader *reader, BYTE *byte) { return txfRead(reader, byte, 1) == 1; }

bool txfReadUnit(TextReader *reader, wchar_t *unit)
{
    BYTE b[2];
    if (txfRead(reader, b, 2) != 2)
        return false;
    *unit = reader->encoding == TXF_UTF16BE ? static_cast<wchar_t>(b[0] << 8 | b[1])
                                            : static_cast<wchar_t>(b[1] << 8 | b[0]);
    return true;
}

bool txfIsUnits(const TextReader *reader)
{
    return reader->encoding == TXF_UTF16LE || reader->encoding == TXF_UTF16BE;
}

bool txfHasLeadByte(TextReader *reader)
{
    BYTE byte;
    while (txfReadByte(reader, &byte)) {
        if (IsDBCSLeadByte(byte))
            return true;
    }
    return false;
}

// Leaves the position after the mark, or at 0 when there is none.
bool txfDetect(TextReader *reader)
{
    reader->encoding = TXF_ANSI;
    if (reader->size == 0)
        return true;
    BYTE head[3];
    DWORD got = txfRead(reader, head, reader->size < 3 ? reader->size : 3);
    if (got == 0)
        return false;
    for (const ByteOrderMark &mark : kMarks) {
        if (got >= static_cast<DWORD>(mark.length) && memcmp(head, mark.bytes, mark.length) == 0) {
            reader->encoding = mark.encoding;
            reader->markLength = mark.length;
            txfSeek(reader, mark.length);
            return true;
        }
    }
    // Without a mark, text whose every second byte is 0 is taken for UTF-16LE. A single byte
    // proves nothing and stays ANSI.
    BYTE sample[kSampleBytes];
    DWORD want = reader->size < kSampleBytes ? reader->size : kSampleBytes;
    txfSeek(reader, 0);
    bool units = want >= 2 && txfRead(reader, sample, want) == want;
    for (DWORD i = 1; units && i < want; i += 2)
        units = sample[i] == 0;
    if (units)
        reader->encoding = TXF_UTF16LE;
    else if (g_ansiAsUtf8) {
        txfSeek(reader, 0);
        if (txfHasLeadByte(reader))
            reader->encoding = TXF_UTF8;
    }
    txfSeek(reader, 0);
    return true;
}

struct LineMeasure {
    int chars = 0;
    int bytes = 0;
    int longestChars = 0;
    int longestBytes = 0;

    void add(int charCount, int byteCount)
    {
        chars += charCount;
        bytes += byteCount;
        if (chars > longestChars)
            longestChars = chars;
        if (bytes > longestBytes)
            longestBytes = bytes;
    }
    void lineBreak() { chars = bytes = 0; }
};

// Breaks are found exactly where txfReadLine finds them, so every line it stores fits the
// buffers sized from this measure. UTF-8 counts bytes as characters: a line never converts
// to more UTF-16 units than it has bytes.
void txfMeasureBytes(TextReader *reader, LineMeasure *measure)
{
    BYTE byte;
    while (txfReadByte(reader, &byte)) {
        if (byte == '\r' || byte == '\n') {
            measure->lineBreak();
            continue;
        }
        if (reader->encoding == TXF_ANSI && IsDBCSLeadByte(byte) && reader->remaining > 0) {
            BYTE trail = 0;
            txfReadByte(reader, &trail);
            if (trail == '\r' || trail == '\n') {
                measure->add(1, 1);
                measure->lineBreak();
            } else {
                measure->add(1, 2);
            }
            continue;
        }
        measure->add(1, 1);
    }
}

void txfMeasureUnits(TextReader *reader, LineMeasure *measure)
{
    wchar_t unit;
    while (txfReadUnit(reader, &unit)) {
        if (unit == L'\n' || (unit == L'\r' && reader->remaining > 0))
            measure->lineBreak();
        else
            measure->add(1, 2);
    }
}

// Converts at most `capacity` characters and terminates them; a line that turns out longer
// than that keeps its beginning, like an over-long UTF-16 line does.
int txfConvert(UINT codePage, const char *bytes, int count, wchar_t *destination, int capacity)
{
    int converted = 0;
    int needed = count > 0 ? MultiByteToWideChar(codePage, 0, bytes, count, nullptr, 0) : 0;
    if (needed > 0 && needed <= capacity) {
        converted = MultiByteToWideChar(codePage, 0, bytes, count, destination, capacity);
    } else if (needed > capacity) {
        wchar_t *whole = static_cast<wchar_t *>(calloc(static_cast<size_t>(needed), sizeof(wchar_t)));
        if (whole && MultiByteToWideChar(codePage, 0, bytes, count, whole, needed) == needed) {
            wmemcpy(destination, whole, static_cast<size_t>(capacity));
            converted = capacity;
        }
        free(whole);
    }
    destination[converted] = L'\0';
    return converted;
}

int txfReadByteLine(TextReader *reader, wchar_t *destination, int capacity, int *length, int *lineEnded)
{
    if (!reader->byteBuffer) {
        reader->byteBuffer = static_cast<char *>(calloc(static_cast<size_t>(reader->longestBytes) + 3, 1));
        if (!reader->byteBuffer) {
            destination[0] = L'\0';
            return 0;
        }
    }
    int stored = 0;
    int result = 1;
    BYTE byte;
    for (;;) {
        if (!txfReadByte(reader, &byte)) {
            result = 0;
            break;
        }
        if (byte == '\r' || byte == '\n') {
            *lineEnded = 1;
            BYTE next = 0;
            if (byte == '\r' && !txfReadByte(reader, &next))
                result = 0;
            else if (byte == '\r' && next != '\n')
                txfSeek(reader, reader->position - 1);
            break;
        }
        // The measure makes this unreachable; it keeps the buffer safe all the same, and
        // storing at least one byte per call keeps a caller's loop moving.
        if (stored >= reader->longestBytes && stored > 0) {
            txfSeek(reader, reader->position - 1);
            break;
        }
        reader->byteBuffer[stored++] = static_cast<char>(byte);
        if (reader->remaining == 0)
            break;
    }
    reader->byteBuffer[stored] = '\0';
    UINT codePage = reader->encoding == TXF_UTF8 ? CP_UTF8 : CP_ACP;
    *length = txfConvert(codePage, reader->byteBuffer, stored, destination, capacity);
    return result;
}

// The length counts the whole line even when only `capacity` characters were stored.
int txfReadUnitLine(TextReader *reader, wchar_t *destination, int capacity, int *length, int *lineEnded)
{
    int stored = 0;
    wchar_t unit;
    for (;;) {
        // A short read leaves what this call stored unterminated; callers stop at result 0.
        if (!txfReadUnit(reader, &unit))
            return 0;
        // A CR that is the file's last unit is text, not a line end.
        if (unit == L'\r' && reader->remaining > 0) {
            *lineEnded = 1;
            if (!txfReadUnit(reader, &unit))
                return 0;
            if (unit != L'\n')
                txfSeek(reader, reader->position - 2);
            break;
        }
        if (unit == L'\n') {
            *lineEnded = 1;
            break;
        }
        if (stored < capacity)
            destination[stored++] = unit;
        ++*length;
        if (reader->remaining == 0)
            break;
    }
    destination[stored] = L'\0';
    return 1;
}

}  // namespace

TextReader::~TextReader() { txfClose(this); }

void txfSetAnsiAsUtf8(int on) { g_ansiAsUtf8 = on != 0; }

void txfClose(TextReader *reader)
{
    if (!reader)
        return;
    free(reader->lineBuffer);
    free(reader->byteBuffer);
    reader->file.reset();
    reader->encoding = 0;
    reader->size = 0;
    reader->remaining = 0;
    reader->markLength = 0;
    reader->longestKnown = false;
    reader->longestLine = 0;
    reader->longestBytes = 0;
    reader->lineBuffer = nullptr;
    reader->byteBuffer = nullptr;
    reader->error = 0;
    reader->position = 0;
    reader->chunkStart = 0;
    reader->chunkLength = 0;
    memset(reader->chunk, 0, sizeof reader->chunk);
}

int txfOpen(const wchar_t *path, TextReader *reader)
{
    if (!reader)
        return 0;
    txfClose(reader);
    auto fail = [reader](DWORD error) {
        txfClose(reader);
        reader->error = error;
        return 0;
    };
    if (!path)
        return fail(ERROR_INVALID_PARAMETER);
    reader->file.reset(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                   FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!reader->file)
        return fail(GetLastError());
    LARGE_INTEGER size;
    if (!GetFileSizeEx(reader->file.get(), &size))
        return fail(GetLastError());
    // Line lengths are ints; a text file this large is not one of ours.
    if (size.QuadPart > MAXLONG)
        return fail(ERROR_FILE_TOO_LARGE);
    reader->size = static_cast<DWORD>(size.QuadPart);
    txfSeek(reader, 0);
    if (!txfDetect(reader))
        return fail(GetLastError() ? GetLastError() : ERROR_READ_FAULT);
    txfLongestLine(reader, 1);
    return 1;
}

int txfLongestLine(TextReader *reader, int rewind)
{
    if (!reader || !reader->file)
        return 0;
    DWORD noted = reader->position;
    DWORD start = static_cast<DWORD>(reader->markLength);
    if (!reader->longestKnown) {
        LineMeasure measure;
        txfSeek(reader, start);
        if (txfIsUnits(reader))
            txfMeasureUnits(reader, &measure);
        else
            txfMeasureBytes(reader, &measure);
        reader->longestLine = measure.longestChars;
        reader->longestBytes = txfIsUnits(reader) ? 0 : measure.longestBytes;
        reader->longestKnown = true;
    }
    txfSeek(reader, rewind || noted == 0 ? start : noted);
    return reader->longestLine;
}

wchar_t *txfLineBuffer(TextReader *reader)
{
    if (!reader)
        return nullptr;
    if (!reader->lineBuffer)
        reader->lineBuffer =
            static_cast<wchar_t *>(calloc(static_cast<size_t>(txfLongestLine(reader, 0)) + 3, sizeof(wchar_t)));
    return reader->lineBuffer;
}

// The destination holds capacity + 1 characters.
int txfReadLine(TextReader *reader, wchar_t *destination, int capacity, int *length, int *lineEnded)
{
    int lineLength = 0;
    int ended = 0;
    int result = 0;
    if (reader && reader->file && destination) {
        if (capacity < 0)
            capacity = 0;
        result = txfIsUnits(reader) ? txfReadUnitLine(reader, destination, capacity, &lineLength, &ended)
                                    : txfReadByteLine(reader, destination, capacity, &lineLength, &ended);
    }
    if (length)
        *length = lineLength;
    if (lineEnded)
        *lineEnded = ended;
    return result;
}

// Comments start with ";" in the first column. The key is compared as the parse keeps it,
// cut to 31 characters, and case-sensitively.
int txfGetValue(const wchar_t *path, const wchar_t *key, wchar_t *destination, int capacity)
{
    if (!destination)
        return 0;
    destination[0] = L'\0';
    if (!path || !key)
        return 0;
    TextReader reader;
    if (!txfOpen(path, &reader))
        return 0;
    int longest = txfLongestLine(&reader, 1);
    wchar_t *line = txfLineBuffer(&reader);
    if (!line)
        return 0;
    int length = 0;
    while (txfReadLine(&reader, line, longest, &length, nullptr)) {
        if (line[0] == L';')
            continue;
        strStripCRLF(line);
        strTrimValue(line);
        KeyValue pair;
        int blankValue = 0;
        if (!strSplitKeyValue(line, L'=', &pair, &blankValue) || !pair.key || !pair.value)
            continue;
        wchar_t keyField[32];
        strCopyN(keyField, pair.key, 31);
        if (wcscmp(keyField, key) == 0) {
            strCopyN(destination, pair.value, capacity);
            return static_cast<int>(wcslen(destination));
        }
    }
    return 0;
}
