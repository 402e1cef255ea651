#include "IniParse/minIni.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "common/UniqueHandles.h"

namespace {

enum quote_option {
    QUOTE_NONE = 0,     // copy as is
    QUOTE_ENQUOTE = 1,  // surround with quotes, escape inner quotes (writing)
    QUOTE_DEQUOTE = 2,  // undo \" and "" (reading)
};

UniqueFile openini(const char* Filename) {
    return UniqueFile(Filename != nullptr ? std::fopen(Filename, "rb") : nullptr);
}

// White space is every byte from 1 to 32 and, because chars are compared
// signed, every byte from 128 up. Existing files are read with exactly this
// rule, so it stays: a high byte at the edge of a name or value is dropped
// like a blank.
bool iswhite(char c) {
    return c != '\0' && static_cast<signed char>(c) <= ' ';
}

char* skipleading(char* str) {
    while (iswhite(*str)) ++str;
    return str;
}

// Moves back from str over white space, not below base.
char* skiptrailing(char* str, const char* base) {
    while (str > base && iswhite(str[-1])) --str;
    return str;
}

char* striptrailing(char* str) {
    *skiptrailing(std::strchr(str, '\0'), str) = '\0';
    return str;
}

bool haslinebreak(const char* str) {
    return str != nullptr && std::strchr(str, '\n') != nullptr;
}

// Bounded copy: at most maxlen - 1 characters and the terminator. QUOTE_NONE
// copies like memmove, so a caller may pass its buffer as its own default;
// QUOTE_DEQUOTE only shrinks the text and copies forward, which is safe when
// dest lies at or before source (the browse buffer moves text down in place).
char* save_strncpy(char* dest, const char* source, size_t maxlen, quote_option option) {
    assert(dest != nullptr && source != nullptr && maxlen > 0);
    if (option == QUOTE_ENQUOTE && maxlen <= 2) option = QUOTE_NONE;
    size_t d = 0;
    switch (option) {
        case QUOTE_NONE:
            d = strnlen(source, maxlen - 1);
            std::memmove(dest, source, d);
            break;
        case QUOTE_ENQUOTE:
            dest[d++] = '"';
            for (const char* s = source; *s != '\0'; ++s) {
                size_t need = (*s == '"') ? 2 : 1;  // an escaped quote fits whole or not at all
                if (d + need > maxlen - 2) break;
                if (*s == '"') dest[d++] = '\\';
                dest[d++] = *s;
            }
            dest[d++] = '"';
            break;
        case QUOTE_DEQUOTE:
            for (const char* s = source; *s != '\0' && d < maxlen - 1; ++s) {
                if ((*s == '\\' || *s == '"') && s[1] == '"') ++s;
                dest[d++] = *s;
            }
            break;
    }
    dest[d] = '\0';
    return dest;
}

// Cuts a value at a trailing comment (";" or "#" outside quotes) and trailing
// white space, then strips enclosing quotes; *quotes tells whether the text
// left still holds escapes to undo.
char* cleanstring(char* string, quote_option* quotes) {
    bool isstring = false;
    char* ep = string;
    for (; *ep != '\0' && ((*ep != ';' && *ep != '#') || isstring); ++ep) {
        if (*ep == '"') {
            if (ep[1] == '"')
                ++ep;  // "" stands for a quote and does not open or close
            else
                isstring = !isstring;
        } else if (*ep == '\\' && ep[1] == '"') {
            ++ep;
        }
    }
    *ep = '\0';
    striptrailing(string);
    *quotes = QUOTE_NONE;
    size_t len = std::strlen(string);
    if (len >= 2 && string[0] == '"' && string[len - 1] == '"') {
        string[len - 1] = '\0';
        ++string;
        *quotes = QUOTE_DEQUOTE;
    }
    return string;
}

// Reads one line piece: the bytes up to and including '\n', at most size - 1
// of them; a longer line comes in several pieces. Returns the number of bytes
// taken from the file, 0 at the end. The text ends at the first NUL byte, so a
// NUL hides the rest of its piece from the parser, but a rewrite still copies
// every byte.
int ini_read(char* buffer, int size, FILE* fp) {
    int n = 0;
    while (n < size - 1) {
        int c = getc_unlocked(fp);
        if (c == EOF) break;
        buffer[n++] = static_cast<char>(c);
        if (c == '\n') break;
    }
    buffer[n] = '\0';
    return n;
}

// A header is a line whose first non-blank character is "[" with a "]"
// somewhere after it; the name between them is taken untrimmed and anything
// behind the "]" is ignored. sp points behind the leading white space.
bool parseheader(char* sp, char** name, int* len) {
    if (*sp != '[') return false;
    char* ep = std::strchr(sp + 1, ']');
    if (ep == nullptr) return false;
    *name = sp + 1;
    *len = static_cast<int>(ep - *name);
    return true;
}

// A key line is no comment and holds "=" or, when it has none, ":". The key
// is trimmed at its end; the value starts behind the delimiter's blanks.
bool parsekeyline(char* sp, char** key, int* keylen, char** value) {
    if (*sp == ';' || *sp == '#') return false;
    char* ep = std::strchr(sp, '=');
    if (ep == nullptr) ep = std::strchr(sp, ':');
    if (ep == nullptr) return false;
    *key = sp;
    *keylen = static_cast<int>(skiptrailing(ep, sp) - sp);
    *value = skipleading(ep + 1);
    return true;
}

// Names match case-insensitively and only with exactly the same length.
bool namematches(const char* name, int len, const char* want) {
    return std::strlen(want) == static_cast<size_t>(len) && strncasecmp(name, want, len) == 0;
}

// Reads up to and including the header of Section, or the idx-th header when
// idx >= 0. The header's name is left in *name / *len.
bool seeksection(FILE* fp, char* LocalBuffer, const char* Section, int idx, char** name, int* len) {
    int count = 0;
    while (ini_read(LocalBuffer, INI_BUFFERSIZE, fp) > 0) {
        if (!parseheader(skipleading(LocalBuffer), name, len)) continue;
        if (idx >= 0 ? count++ == idx : namematches(*name, *len, Section)) return true;
    }
    return false;
}

// Finds a section (by name, or the idxSection-th header) and in it a key (by
// name, or the idxKey-th key line), and copies into Buffer the section name
// (idxSection >= 0), the key name (idxKey >= 0) or the key's cleaned value.
// Without a section name the keys before the first header are searched. The
// search for a key ends at the next header; the first match wins. Buffer is
// written only when the entry is found.
bool getkeystring(FILE* fp, const char* Section, const char* Key, int idxSection, int idxKey,
                  char* Buffer, int BufferSize) {
    assert(Key != nullptr || idxSection >= 0 || idxKey >= 0);
    char LocalBuffer[INI_BUFFERSIZE];
    char* name;
    int len;
    if (idxSection >= 0 || (Section != nullptr && *Section != '\0')) {
        if (!seeksection(fp, LocalBuffer, Section, idxSection, &name, &len)) return false;
        if (idxSection >= 0) {
            name[len] = '\0';
            save_strncpy(Buffer, name, BufferSize, QUOTE_NONE);
            return true;
        }
    }
    int count = 0;
    while (ini_read(LocalBuffer, INI_BUFFERSIZE, fp) > 0) {
        char* sp = skipleading(LocalBuffer);
        char* value;
        if (parseheader(sp, &name, &len)) return false;
        if (!parsekeyline(sp, &name, &len, &value)) continue;
        if (idxKey >= 0) {
            if (count++ != idxKey) continue;
            name[len] = '\0';
            save_strncpy(Buffer, name, BufferSize, QUOTE_NONE);
            return true;
        }
        if (!namematches(name, len, Key)) continue;
        quote_option quotes;
        value = cleanstring(value, &quotes);
        save_strncpy(Buffer, value, BufferSize, quotes);
        return true;
    }
    return false;
}

// --- Writing ---------------------------------------------------------------
// A rewrite copies the source into the temporary file without holding more
// than one line buffer of it: lines to keep are only counted (the cache), and
// a flush seeks back and copies the counted bytes in one go. `mark` is the
// source offset up to which everything is done with (copied or deliberately
// dropped) and `size` the bytes behind it still to be copied; the source is
// always positioned at mark + size plus the line just read.
struct Rewrite {
    FILE* rfp;
    FILE* wfp;
    char* buffer;  // the call's line buffer, reused for copying
    long mark = 0;
    int size = 0;
    bool endsWithNewline = true;  // what was written last ended a line
    bool failed = false;
};

// Counts a line of len bytes into the cache unless that would reach
// INI_BUFFERSIZE bytes.
bool cache_accum(Rewrite& rw, int len) {
    if (rw.size + len >= INI_BUFFERSIZE) return false;
    rw.size += len;
    return true;
}

// Copies the counted bytes to the temporary file; afterwards the source stands
// right behind them, also when there was nothing to copy. A failure (the file
// shrank meanwhile, a read or write error) dooms the rewrite but leaves the
// state consistent.
void cache_flush(Rewrite& rw) {
    int left = std::fseek(rw.rfp, rw.mark, SEEK_SET) == 0 ? rw.size : -1;
    while (left > 0) {
        size_t chunk = static_cast<size_t>(std::min(left, INI_BUFFERSIZE));
        if (std::fread(rw.buffer, 1, chunk, rw.rfp) != chunk ||
            std::fwrite(rw.buffer, 1, chunk, rw.wfp) != chunk)
            break;
        rw.endsWithNewline = rw.buffer[chunk - 1] == '\n';
        left -= static_cast<int>(chunk);
    }
    rw.failed = rw.failed || left != 0;
    rw.mark += rw.size;
    rw.size = 0;
}

// Keeps the line of len bytes just read. When the cache is full it is
// flushed first and the line read again (the flush used the line buffer).
void keepline(Rewrite& rw, int len) {
    if (cache_accum(rw, len)) return;
    cache_flush(rw);
    len = ini_read(rw.buffer, INI_BUFFERSIZE, rw.rfp);
    bool fits = cache_accum(rw, len);  // a piece is shorter than the cache
    assert(fits);
    (void)fits;
}

// Drops the line of len bytes just read; only valid with an empty cache.
void dropline(Rewrite& rw, int len) {
    assert(rw.size == 0);
    rw.mark += len;
}

void putline(Rewrite& rw, const char* line) {
    if (!rw.endsWithNewline) std::fputc('\n', rw.wfp);
    std::fputs(line, rw.wfp);
    rw.endsWithNewline = true;
}

// A value is quoted when reading it back unquoted would change it: it holds a
// quote or a comment character, or starts or ends with white space.
quote_option check_enquote(const char* Value) {
    size_t len = std::strlen(Value);
    bool white = len > 0 && (iswhite(Value[0]) || iswhite(Value[len - 1]));
    return white || std::strpbrk(Value, "\";#") != nullptr ? QUOTE_ENQUOTE : QUOTE_NONE;
}

void writesection(Rewrite& rw, const char* Section) {
    if (Section == nullptr || *Section == '\0') return;
    rw.buffer[0] = '[';
    save_strncpy(rw.buffer + 1, Section, INI_BUFFERSIZE - 4, QUOTE_NONE);
    std::strcat(rw.buffer, "]\n");
    putline(rw, rw.buffer);
}

// Key, "=", value and "\n" in at most INI_BUFFERSIZE - 2 characters, so a
// written line is always read back in one piece.
void writekey(Rewrite& rw, const char* Key, const char* Value) {
    save_strncpy(rw.buffer, Key, INI_BUFFERSIZE - 3, QUOTE_NONE);
    size_t len = std::strlen(rw.buffer);
    rw.buffer[len++] = '=';
    save_strncpy(rw.buffer + len, Value, INI_BUFFERSIZE - 2 - len, check_enquote(Value));
    std::strcat(rw.buffer, "\n");
    putline(rw, rw.buffer);
}

// The temporary file is the file name with its last character replaced by
// '~', in the same directory, so the rename never crosses file systems. A name
// that already ends in '~' would be its own temporary file and is refused.
bool ini_tempname(char* dest, const char* source, size_t maxlength) {
    size_t len = std::strlen(source);
    if (len == 0 || len >= maxlength || source[len - 1] == '~') return false;
    std::memcpy(dest, source, len - 1);
    dest[len - 1] = '~';
    dest[len] = '\0';
    return true;
}

// Finishes a rewrite. The temporary file is complete and on disk before it
// replaces the original by rename, which is atomic: whatever happens, the file
// is either the old or the new version. On any failure the original stays and
// the temporary file is removed.
int close_rename(Rewrite& rw, UniqueFile rfp, UniqueFile wfp, const char* Filename,
                 const char* tmpname) {
    bool ok = !rw.failed && (!rfp || !std::ferror(rfp.get()));
    rfp.reset();
    FILE* wf = wfp.release();
    ok = std::fflush(wf) == 0 && !std::ferror(wf) && fsync(fileno(wf)) == 0 && ok;
    ok = std::fclose(wf) == 0 && ok;
    if (ok && std::rename(tmpname, Filename) == 0) return 1;
    std::remove(tmpname);
    return 0;
}

void strreverse(char* str) {
    for (char* ep = std::strchr(str, '\0') - 1; str < ep; ++str, --ep) std::swap(*str, *ep);
}

// Digits come out lowest first; each remainder is made positive on its own
// instead of negating the number, so the most negative long converts too.
void long2str(long value, char* str) {
    int i = 0;
    bool negative = value < 0;
    do {
        long digit = value % 10;
        str[i++] = static_cast<char>('0' + (digit < 0 ? -digit : digit));
        value /= 10;
    } while (value != 0);
    if (negative) str[i++] = '-';
    str[i] = '\0';
    strreverse(str);
}

}  // namespace

// --- Reading ------------------------------------------------------------------

int ini_gets(const char* Section, const char* Key, const char* DefValue, char* Buffer,
             int BufferSize, const char* Filename) {
    if (Buffer == nullptr || BufferSize < 1 || Key == nullptr) return 0;
    UniqueFile fp = openini(Filename);
    if (!fp || !getkeystring(fp.get(), Section, Key, -1, -1, Buffer, BufferSize))
        save_strncpy(Buffer, DefValue != nullptr ? DefValue : "", BufferSize, QUOTE_NONE);
    return static_cast<int>(std::strlen(Buffer));
}

long ini_getl(const char* Section, const char* Key, long DefValue, const char* Filename) {
    char buf[64];
    int len = ini_gets(Section, Key, "", buf, sizeof buf, Filename);
    if (len == 0) return DefValue;
    int base = (len >= 2 && (buf[1] == 'x' || buf[1] == 'X')) ? 16 : 10;
    return std::strtol(buf, nullptr, base);
}

float ini_getf(const char* Section, const char* Key, float DefValue, const char* Filename) {
    char buf[64];
    if (ini_gets(Section, Key, "", buf, sizeof buf, Filename) == 0) return DefValue;
    return std::strtof(buf, nullptr);
}

// Only the first character is looked at, so "true", "Yes" and "1x" are all
// true and "off" gives the default.
int ini_getbool(const char* Section, const char* Key, int DefValue, const char* Filename) {
    char buf[2];
    ini_gets(Section, Key, "", buf, sizeof buf, Filename);
    switch (buf[0]) {
        case '1':
        case 'T':
        case 't':
        case 'Y':
        case 'y':
            return 1;
        case '0':
        case 'F':
        case 'f':
        case 'N':
        case 'n':
            return 0;
        default:
            return DefValue;
    }
}

int ini_getsection(int idx, char* Buffer, int BufferSize, const char* Filename) {
    if (Buffer == nullptr || BufferSize < 1 || idx < 0) return 0;
    UniqueFile fp = openini(Filename);
    if (!fp || !getkeystring(fp.get(), nullptr, nullptr, idx, -1, Buffer, BufferSize))
        *Buffer = '\0';
    return static_cast<int>(std::strlen(Buffer));
}

int ini_getkey(const char* Section, int idx, char* Buffer, int BufferSize, const char* Filename) {
    if (Buffer == nullptr || BufferSize < 1 || idx < 0) return 0;
    UniqueFile fp = openini(Filename);
    if (!fp || !getkeystring(fp.get(), Section, nullptr, -1, idx, Buffer, BufferSize))
        *Buffer = '\0';
    return static_cast<int>(std::strlen(Buffer));
}

int ini_section_is_valid(const char* Section, const char* Filename) {
    if (Section == nullptr || *Section == '\0') return 0;
    UniqueFile fp = openini(Filename);
    if (!fp) return 0;
    char LocalBuffer[INI_BUFFERSIZE];
    char* name;
    int len;
    return seeksection(fp.get(), LocalBuffer, Section, -1, &name, &len) ? 1 : 0;
}

// One buffer holds the current section name, then the line being read, which
// is turned in place into key and value. A long section name therefore
// shortens the longest line that can be browsed in that section.
int ini_browse(INI_CALLBACK Callback, const void* UserData, const char* Filename) {
    if (Callback == nullptr) return 0;
    UniqueFile fp = openini(Filename);
    if (!fp) return 0;
    char LocalBuffer[INI_BUFFERSIZE];
    LocalBuffer[0] = '\0';
    int lenSec = 0;
    for (;;) {
        // A header fills at most the line area less its brackets, so at least
        // three bytes always remain for the next line.
        char* line = LocalBuffer + lenSec + 1;
        int room = INI_BUFFERSIZE - lenSec - 1;
        if (ini_read(line, room, fp.get()) == 0) break;
        char* sp = skipleading(line);
        if (*sp == '\0' || *sp == ';' || *sp == '#') continue;
        char* name;
        int len;
        char* value;
        if (parseheader(sp, &name, &len)) {
            std::memmove(LocalBuffer, name, len);
            LocalBuffer[len] = '\0';
            lenSec = len;
            continue;
        }
        if (!parsekeyline(sp, &name, &len, &value)) continue;
        quote_option quotes;
        value = cleanstring(value, &quotes);
        name[len] = '\0';
        // Key and value only move towards the start of the line: the key to
        // its start, the value right behind the key.
        save_strncpy(line, name, room, QUOTE_NONE);
        char* dvalue = line + len + 1;
        save_strncpy(dvalue, value, room - (len + 1), quotes);
        if (!Callback(LocalBuffer, line, dvalue, UserData)) break;
    }
    return 1;
}

// --- Writing ------------------------------------------------------------------

int ini_puts(const char* Section, const char* Key, const char* Value, const char* Filename) {
    if (Filename == nullptr) return 0;
    if (Section == nullptr) Section = "";
    // A line break would split the entry and inject lines of its own.
    if (haslinebreak(Section) || haslinebreak(Key) || haslinebreak(Value)) return 0;
    char tmpname[PATH_MAX];
    if (!ini_tempname(tmpname, Filename, sizeof tmpname)) return 0;
    char LocalBuffer[INI_BUFFERSIZE];

    UniqueFile rfp(std::fopen(Filename, "rb"));
    if (!rfp) {
        // A file that exists but cannot be read is left alone.
        if (errno != ENOENT) return 0;
        if (Key == nullptr || Value == nullptr) return 1;  // nothing to delete
        UniqueFile wfp(std::fopen(tmpname, "wb"));
        if (!wfp) return 0;
        Rewrite rw{nullptr, wfp.get(), LocalBuffer};
        writesection(rw, Section);
        writekey(rw, Key, Value);
        return close_rename(rw, nullptr, std::move(wfp), Filename, tmpname);
    }
    if (Key != nullptr && Value != nullptr) {
        // An unchanged value leaves the file as it is, time stamp included.
        if (getkeystring(rfp.get(), Section, Key, -1, -1, LocalBuffer, INI_BUFFERSIZE) &&
            std::strcmp(LocalBuffer, Value) == 0)
            return 1;
        std::rewind(rfp.get());
    }

    UniqueFile wfp(std::fopen(tmpname, "wb"));
    if (!wfp) return 0;
    struct stat st;
    if (fstat(fileno(rfp.get()), &st) == 0) fchmod(fileno(wfp.get()), st.st_mode & 07777);
    Rewrite rw{rfp.get(), wfp.get(), LocalBuffer};
    char* name;
    int len;
    int n;

    // Copy everything up to the header of Section.
    if (*Section != '\0') {
        bool found = false;
        while (!found && (n = ini_read(LocalBuffer, INI_BUFFERSIZE, rfp.get())) > 0) {
            found = parseheader(skipleading(LocalBuffer), &name, &len) &&
                    namematches(name, len, Section);
            if (!found) keepline(rw, n);
        }
        if (!found) {
            cache_flush(rw);
            if (Key != nullptr && Value != nullptr) {
                writesection(rw, Section);
                writekey(rw, Key, Value);
            }
            return close_rename(rw, std::move(rfp), std::move(wfp), Filename, tmpname);
        }
        if (Key != nullptr) {
            keepline(rw, n);
        } else {
            // The header of a deleted section goes with it.
            cache_flush(rw);
            dropline(rw, ini_read(LocalBuffer, INI_BUFFERSIZE, rfp.get()));
        }
    }

    // Within the section: stop at the key or at the next header. Lines of a
    // deleted section are dropped, all others kept.
    bool met = false;
    while (!met && (n = ini_read(LocalBuffer, INI_BUFFERSIZE, rfp.get())) > 0) {
        char* sp = skipleading(LocalBuffer);
        char* value;
        met = parseheader(sp, &name, &len) ||
              (Key != nullptr && parsekeyline(sp, &name, &len, &value) &&
               namematches(name, len, Key));
        if (met) break;
        if (Key == nullptr)
            dropline(rw, n);
        else
            keepline(rw, n);
    }
    cache_flush(rw);
    // A new key goes last in its section; a changed one takes its old place.
    if (Key != nullptr && Value != nullptr) writekey(rw, Key, Value);
    if (met) {
        // The line met is still to be copied (a header) or dropped (the key).
        n = ini_read(LocalBuffer, INI_BUFFERSIZE, rfp.get());
        if (parseheader(skipleading(LocalBuffer), &name, &len))
            keepline(rw, n);
        else
            dropline(rw, n);
        while ((n = ini_read(LocalBuffer, INI_BUFFERSIZE, rfp.get())) > 0) keepline(rw, n);
        cache_flush(rw);
    }
    return close_rename(rw, std::move(rfp), std::move(wfp), Filename, tmpname);
}

int ini_putl(const char* Section, const char* Key, long Value, const char* Filename) {
    char buf[32];
    long2str(Value, buf);
    return ini_puts(Section, Key, buf, Filename);
}

int ini_putf(const char* Section, const char* Key, float Value, const char* Filename) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%f", static_cast<double>(Value));
    return ini_puts(Section, Key, buf, Filename);
}
