#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>

// What lies in front of a string's text, in one allocation: header, text, zero byte. A negative count marks a header
// that is never shared: the one of all empty strings, or one that its only owner locked.
struct CStringData {
    std::atomic<std::int32_t> references;
    std::int32_t dataLength;
    std::int32_t allocLength;

    char* Text() { return reinterpret_cast<char*>(this + 1); }
};

// The header, with its text, that all empty strings share. Neither freed nor written.
struct CEmptyStringData {
    CStringData header;
    char text[sizeof(CStringData)];
};

extern CEmptyStringData _atltmpDataNil;
extern char* const _atltmpPchNil;

// A counted string that shares its text between copies until one is written. Lengths are in bytes, at most 0x7FFFFFFD;
// an operation whose result would be longer leaves the string as it was. One object is not safe for two threads; two
// objects that share a header are.
class CString {
public:
    CString();
    CString(const CString& other);
    // Null pointers give an empty string. length counts bytes and may span zero bytes.
    CString(const char* text);
    CString(const char* text, int length);
    CString(const wchar_t* text);
    ~CString();

    CString& operator=(const CString& other);
    CString& operator=(char character);
    CString& operator=(const char* text);
    CString& operator=(const unsigned char* text);
    CString& operator=(const wchar_t* text);

    CStringData* GetData() const;
    int GetLength() const;
    bool IsEmpty() const;
    const char* GetString() const;
    operator const char*() const;
    char operator[](int index) const;

    // As strcmp. CompareNoCase compares in capitals of a to z, whatever the locale.
    int Compare(const char* other) const;
    int CompareNoCase(const char* other) const;

    CString& operator+=(char character);
    CString& operator+=(const char* text);
    CString& operator+=(const CString& other);
    // The letters a to z, whatever the locale.
    void MakeUpper();
    void MakeLower();
    // Both give the number of replacements.
    int Replace(char from, char to);
    int Replace(const char* from, const char* to);
    // Gives the length before; a negative index counts as 0.
    int Delete(int index, int count);
    // Give the length after; the index is limited to the text.
    int Insert(int index, char character);
    int Insert(int index, const char* text);

    // New strings, clipped to the text.
    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    // The index, or -1.
    int Find(char character) const;
    int Find(const char* text) const;
    int ReverseFind(char character) const;

    // printf's rules. A null format and an empty or failed result leave the string as it was.
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void FormatV(const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));

    // A writable buffer of at least length bytes that keeps the text, good until the next change; null for a negative
    // or forbidden length. ReleaseBuffer sets the data length, for -1 to the text's.
    char* GetBuffer(int length);
    void ReleaseBuffer(int length = -1);
    char* GetBufferSetLength(int length);

    void Empty();

    // What the operations above are made of. AllocBuffer takes the place of what the string held without letting it
    // go; both Alloc operations give false for a forbidden length.
    bool AllocBuffer(int length);
    void CopyBeforeWrite();
    bool AllocBeforeWrite(int length);
    void Release();
    void AssignCopy(int length, const char* text);
    // Sets copy to count bytes of this text from index on, with room for extra more.
    void AllocCopy(CString& copy, int count, int index, int extra) const;
    void ConcatCopy(int length1, const char* text1, int length2, const char* text2);
    void ConcatInPlace(int length, const char* text);

private:
    bool IsShared() const;
    int InsertText(int index, int added, const char* text);
    void Swap(CString& other);
    void SetLength(int length);

    char* m_text;
};

// The string that all empty strings share their header with.
const CString& GetEmptyString();
