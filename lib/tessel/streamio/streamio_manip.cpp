#include "tessel/streamio/streamio_manip.h"

#include "tessel/streamio/token_istream.h"
#include "tessel/streamio/token_ostream.h"
#include "tessel/streamio/token_value.h"

namespace io {

namespace {

CToken TokenOf(bool value) {
    return CToken(value ? ETokenType::True : ETokenType::False);
}
CToken TokenOf(std::int32_t value) {
    return CToken(ETokenType::Int, static_cast<double>(value));
}
CToken TokenOf(const AString& value) {
    return CToken(ETokenType::SingleQuotedText, value.Str());
}

}  // namespace

CToken_istream& operator>>(CToken_istream& stream, CStreamio_manip& manip) {
    manip.Apply(stream);
    return stream;
}

CToken_istream& operator>>(CToken_istream& stream, CStreamio_manip&& manip) {
    return stream >> manip;
}

CToken_ostream& operator<<(CToken_ostream& stream, const CStreamio_manip& manip) {
    manip.Apply(stream);
    return stream;
}

void CDelimiter_manip::Apply(CToken_istream& stream) {
    stream.ReadDelimiter(mDelimiter);
}
void CDelimiter_manip::Apply(CToken_ostream& stream) const {
    stream.WriteDelimiter(mDelimiter);
}

template <class T>
CNamed_value_manip<T>::CNamed_value_manip(const wchar_t* name, const T& value) : mValue(name) {
    mValue.SetValue(TokenOf(value));
}

template <class T>
bool CNamed_value_manip<T>::Take(const CBlock_value& value) {
    if (mVariable != nullptr) return GetTokenValue(value.Value(), *mVariable);
    mValue.SetValue(value.Value());
    return true;
}

template <class T>
void CNamed_value_manip<T>::Apply(CToken_istream& stream) {
    if (!stream.CurrentTokenIs(mValue.Name().Text())) return;
    const ACharStreamOff offset = stream.TokenOffset();
    CToken               name;
    CToken               equals;
    stream.ReadToken(name);
    if (stream.AtDelimiter(L'=')) {
        stream.ReadToken(equals);
        CBlock_value value;
        try {
            value.Read(stream);
            if (Take(value)) return;
            stream.PushBackToken(value.Value());
        } catch (const XStreamioError&) {
            // No value stands there, and none was read.
        }
        stream.PushBackToken(equals);
    }
    stream.PushBackToken(name, offset);
    stream.Clear();
}

template <class T>
void CNamed_value_manip<T>::Apply(CToken_ostream& stream) const {
    mValue.Write(stream);
}

template class CNamed_value_manip<bool>;
template class CNamed_value_manip<std::int32_t>;
template class CNamed_value_manip<AString>;

}  // namespace io
