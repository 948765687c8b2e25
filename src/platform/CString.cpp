#include "platform/CString.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Interlocked.h"

constinit CEmptyStringData _atltmpDataNil{{-1, 0, 0}, {}};
char* const _atltmpPchNil = _atltmpDataNil.text;

namespace {

constexpr int s_maximumLength = 0x7FFFFFFD;

int LengthOf(const char* text) {
    return text == nullptr ? 0 : static_cast<int>(std::min<std::size_t>(std::strlen(text), s_maximumLength));
}

std::string_view ViewOf(const CString& string) {
    return {string.GetString(), static_cast<std::size_t>(string.GetLength())};
}

int IndexOf(std::size_t position) {
    return position == std::string_view::npos ? -1 : static_cast<int>(position);
}

char UpperOf(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A') : character;
}

char LowerOf(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// Text that wcstombs cannot convert gives an empty string.
std::string NarrowOf(const wchar_t* text) {
    const std::size_t length = text == nullptr ? 0 : std::wcstombs(nullptr, text, 0);
    if (length == static_cast<std::size_t>(-1)) {
        return {};
    }
    std::string narrow(length, '\0');
    if (length != 0) {
        std::wcstombs(narrow.data(), text, length);
    }
    return narrow;
}

} // namespace

const CString& GetEmptyString() {
    static const CString s_empty;
    return s_empty;
}

CString::CString() : m_text(_atltmpPchNil) {}

CString::CString(const CString& other) : CString() {
    *this = other;
}

CString::CString(const char* text) : CString() {
    AssignCopy(LengthOf(text), text);
}

CString::CString(const char* text, int length) : CString() {
    AssignCopy(text == nullptr ? 0 : length, text);
}

CString::CString(const wchar_t* text) : CString() {
    *this = text;
}

CString::~CString() {
    Release();
}

CString& CString::operator=(const CString& other) {
    if (this == &other || m_text == other.m_text) {
        return *this;
    }
    const bool locked = GetData()->references < 0 && m_text != _atltmpPchNil;
    if (locked || other.GetData()->references < 0) {
        AssignCopy(other.GetLength(), other.m_text);
        return *this;
    }
    InterlockedIncrement(&other.GetData()->references);
    Release();
    m_text = other.m_text;
    return *this;
}

CString& CString::operator=(char character) {
    AssignCopy(1, &character);
    return *this;
}

CString& CString::operator=(const char* text) {
    AssignCopy(LengthOf(text), text);
    return *this;
}

CString& CString::operator=(const unsigned char* text) {
    return *this = reinterpret_cast<const char*>(text);
}

CString& CString::operator=(const wchar_t* text) {
    return *this = NarrowOf(text).c_str();
}

CStringData* CString::GetData() const {
    return reinterpret_cast<CStringData*>(m_text) - 1;
}

int CString::GetLength() const {
    return GetData()->dataLength;
}

bool CString::IsEmpty() const {
    return GetLength() == 0;
}

const char* CString::GetString() const {
    return m_text;
}

CString::operator const char*() const {
    return m_text;
}

char CString::operator[](int index) const {
    return m_text[index];
}

int CString::Compare(const char* other) const {
    return std::strcmp(m_text, other);
}

int CString::CompareNoCase(const char* other) const {
    CString left(*this);
    CString right(other);
    left.MakeUpper();
    right.MakeUpper();
    return left.Compare(right);
}

CString& CString::operator+=(char character) {
    ConcatInPlace(1, &character);
    return *this;
}

CString& CString::operator+=(const char* text) {
    ConcatInPlace(LengthOf(text), text);
    return *this;
}

CString& CString::operator+=(const CString& other) {
    ConcatInPlace(other.GetLength(), other.m_text);
    return *this;
}

void CString::MakeUpper() {
    CopyBeforeWrite();
    std::transform(m_text, m_text + GetLength(), m_text, UpperOf);
}

void CString::MakeLower() {
    CopyBeforeWrite();
    std::transform(m_text, m_text + GetLength(), m_text, LowerOf);
}

int CString::Replace(char from, char to) {
    CopyBeforeWrite();
    int replaced = 0;
    for (char* at = m_text; at != m_text + GetLength(); ++at) {
        if (*at == from) {
            *at = to;
            ++replaced;
        }
    }
    return replaced;
}

int CString::Replace(const char* from, const char* to) {
    const std::string_view search(from == nullptr ? "" : from);
    const std::string_view substitute(to == nullptr ? "" : to);
    if (search.empty()) {
        return 0;
    }
    const std::string_view text = ViewOf(*this);
    std::string result;
    int replaced = 0;
    std::size_t position = 0;
    for (std::size_t found = text.find(search); found != text.npos; found = text.find(search, position)) {
        result.append(text, position, found - position).append(substitute);
        position = found + search.size();
        ++replaced;
    }
    result.append(text, position);
    if (replaced == 0 || result.size() > s_maximumLength) {
        return 0;
    }
    AssignCopy(static_cast<int>(result.size()), result.data());
    return replaced;
}

int CString::Delete(int index, int count) {
    const int length = GetLength();
    index = std::max(index, 0);
    if (count < 1 || index >= length) {
        return length;
    }
    count = std::min(count, length - index);
    CopyBeforeWrite();
    std::memmove(m_text + index, m_text + index + count, static_cast<std::size_t>(length - index - count));
    SetLength(length - count);
    return length;
}

int CString::Insert(int index, char character) {
    return InsertText(index, 1, &character);
}

int CString::Insert(int index, const char* text) {
    return InsertText(index, LengthOf(text), text);
}

int CString::InsertText(int index, int added, const char* text) {
    const int length = GetLength();
    if (added == 0 || added > s_maximumLength - length) {
        return length;
    }
    index = std::clamp(index, 0, length);
    CString result;
    AllocCopy(result, index, 0, length - index + added);
    result.ConcatInPlace(added, text);
    result.ConcatInPlace(length - index, m_text + index);
    Swap(result);
    return GetLength();
}

CString CString::Left(int count) const {
    return Mid(0, count);
}

CString CString::Right(int count) const {
    count = std::clamp(count, 0, GetLength());
    return Mid(GetLength() - count, count);
}

CString CString::Mid(int first) const {
    return Mid(first, GetLength());
}

CString CString::Mid(int first, int count) const {
    first = std::clamp(first, 0, GetLength());
    count = std::clamp(count, 0, GetLength() - first);
    CString part;
    AllocCopy(part, count, first, 0);
    return part;
}

int CString::Find(char character) const {
    return IndexOf(ViewOf(*this).find(character));
}

int CString::Find(const char* text) const {
    return text == nullptr ? -1 : IndexOf(ViewOf(*this).find(text));
}

int CString::ReverseFind(char character) const {
    return IndexOf(ViewOf(*this).rfind(character));
}

void CString::Format(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    FormatV(format, arguments);
    va_end(arguments);
}

void CString::FormatV(const char* format, std::va_list arguments) {
    if (format == nullptr) {
        return;
    }
    char* result = nullptr;
    const int length = vasprintf(&result, format, arguments);
    if (length < 0) {
        return;
    }
    if (length > 0) {
        AssignCopy(length, result);
    }
    std::free(result);
}

char* CString::GetBuffer(int length) {
    if (length < 0) {
        return nullptr;
    }
    if (!IsShared() && length <= GetData()->allocLength) {
        return m_text;
    }
    CString larger;
    if (!larger.AllocBuffer(std::max(length, GetLength()))) {
        return nullptr;
    }
    std::memcpy(larger.m_text, m_text, static_cast<std::size_t>(GetLength()));
    larger.SetLength(GetLength());
    Swap(larger);
    return m_text;
}

void CString::ReleaseBuffer(int length) {
    CopyBeforeWrite();
    const int room = GetData()->allocLength;
    if (length < 0) {
        length = static_cast<int>(strnlen(m_text, static_cast<std::size_t>(room)));
    }
    SetLength(std::min(length, room));
}

char* CString::GetBufferSetLength(int length) {
    if (GetBuffer(length) == nullptr) {
        return nullptr;
    }
    SetLength(length);
    return m_text;
}

void CString::Empty() {
    if (GetLength() == 0) {
        return;
    }
    if (GetData()->references < 0) {
        SetLength(0);
    } else {
        Release();
    }
}

bool CString::AllocBuffer(int length) {
    if (length <= 0 || length > s_maximumLength) {
        return false;
    }
    auto* memory = new char[sizeof(CStringData) + static_cast<std::size_t>(length) + 1];
    auto* data = new (memory) CStringData{1, length, length};
    m_text = data->Text();
    m_text[length] = '\0';
    return true;
}

void CString::CopyBeforeWrite() {
    if (!IsShared()) {
        return;
    }
    // The copy is taken before the reference is dropped: the other holders may free the text meanwhile.
    CString copy;
    AllocCopy(copy, GetLength(), 0, 0);
    Swap(copy);
}

bool CString::AllocBeforeWrite(int length) {
    if (!IsShared() && length <= GetData()->allocLength) {
        return true;
    }
    Release();
    if (!AllocBuffer(length)) {
        return false;
    }
    SetLength(0);
    return true;
}

void CString::Release() {
    CStringData* data = GetData();
    m_text = _atltmpPchNil;
    // A count of 0 counts as not held.
    if (data == &_atltmpDataNil.header || data->references == 0) {
        return;
    }
    if (InterlockedDecrement(&data->references) <= 0) {
        data->~CStringData();
        delete[] reinterpret_cast<char*>(data);
    }
}

void CString::AssignCopy(int length, const char* text) {
    length = std::max(length, 0);
    const bool inPlace = !IsShared() && length <= GetData()->allocLength;
    // Otherwise what this string holds stays until the text, which may be a piece of it, is copied.
    CString fresh;
    CString& target = inPlace ? *this : fresh;
    if (target.AllocBeforeWrite(length)) {
        if (length > 0) {
            std::memmove(target.m_text, text, static_cast<std::size_t>(length));
        }
        target.SetLength(length);
    }
    if (!inPlace) {
        Swap(fresh);
    }
}

void CString::AllocCopy(CString& copy, int count, int index, int extra) const {
    CString result;
    if (extra <= s_maximumLength - count && result.AllocBuffer(count + extra)) {
        std::memcpy(result.m_text, m_text + index, static_cast<std::size_t>(count));
        result.SetLength(count);
    }
    copy.Swap(result);
}

void CString::ConcatCopy(int length1, const char* text1, int length2, const char* text2) {
    CString result;
    if (length2 > s_maximumLength - length1) {
        return;
    }
    if (result.AllocBuffer(length1 + length2)) {
        result.SetLength(0);
        result.ConcatInPlace(length1, text1);
        result.ConcatInPlace(length2, text2);
    }
    Swap(result);
}

void CString::ConcatInPlace(int length, const char* text) {
    const int old = GetLength();
    if (length <= 0 || length > s_maximumLength - old) {
        return;
    }
    if (!IsShared() && old + length <= GetData()->allocLength) {
        std::memmove(m_text + old, text, static_cast<std::size_t>(length));
        SetLength(old + length);
        return;
    }
    CString result;
    result.AllocBuffer(old + length);
    std::memcpy(result.m_text, m_text, static_cast<std::size_t>(old));
    std::memcpy(result.m_text + old, text, static_cast<std::size_t>(length));
    Swap(result);
}

bool CString::IsShared() const {
    return GetData()->references > 1;
}

void CString::Swap(CString& other) {
    std::swap(m_text, other.m_text);
}

// Writes nothing into the header of all empty strings, whose length is 0 already.
void CString::SetLength(int length) {
    if (m_text == _atltmpPchNil) {
        return;
    }
    GetData()->dataLength = length;
    m_text[length] = '\0';
}
