#include "tessel/streamio/streamio_item_object.h"
#include "tessel/streamio/streamio_manip.h"
#include "tessel/streamio/write_support.h"

#include <gtest/gtest.h>

namespace {

using namespace write_support;

/// What stands next in a stream, token by token, without line ends.
std::string Rest(CToken_istream& stream) {
    EXPECT_TRUE(stream.good());
    std::string rest;
    for (CToken token; stream.good() && !stream.AtEndOfFile();) {
        stream.ReadToken(token);
        rest += (rest.empty() ? "" : " ") + DumpValue(token);
    }
    return rest;
}

// --- pointers

/// Counts its living objects.
class CCounted : public CBlock_value {
  public:
    CCounted() { ++sAlive; }
    CCounted(const CCounted&)            = delete;
    CCounted& operator=(const CCounted&) = delete;
    ~CCounted() override { --sAlive; }
    static int sAlive;
};
int CCounted::sAlive = 0;

TEST(BlockPtr, DeletesWhatNobodyHolds) {
    CAssertions assertions;
    {
        CBlockItemPtr one(new CCounted);
        CBlockItemPtr same(one.Get());
        EXPECT_EQ(CCounted::sAlive, 1);
        one = same;
        one = one;
        EXPECT_EQ(CCounted::sAlive, 1);
        same = CBlockItemPtr(new CCounted);
        EXPECT_EQ(CCounted::sAlive, 2);
        one = std::move(same);  // lets go of the first
        EXPECT_EQ(CCounted::sAlive, 1);
        EXPECT_FALSE(same);
        CBlock block;
        block.AddItem(one);
        block.AddItem(one);
        one = CBlockItemPtr();
        EXPECT_EQ(CCounted::sAlive, 1);
        CBlock other(block);
        block.Clear();
        EXPECT_EQ(CCounted::sAlive, 1);
        other.EraseAt(other.ItemsBegin());
        EXPECT_EQ(CCounted::sAlive, 1);
        other.EraseAt(other.ItemsBegin());
        EXPECT_EQ(CCounted::sAlive, 0);

        CBlock_func function;
        function.Append(CBlockFuncArgPtr(new CCounted));
        CBlock_func copy(function);
        function.Clear();
        EXPECT_EQ(CCounted::sAlive, 1);
    }
    EXPECT_EQ(CCounted::sAlive, 0);
    EXPECT_EQ(assertions.Take(), "");

    auto held = std::make_unique<CCounted>();
    held->AddRef();
    held.reset();
    EXPECT_EQ(assertions.Take(), "mRefCount == 0");
}

TEST(BlockPtr, NarrowsByTheItemsClass) {
    const CBlockItemPtr block(new CBlock(L"B"));
    EXPECT_TRUE(CBlockPtr(block));
    EXPECT_FALSE(CBlockFuncArgPtr(block));
    const CBlockItemPtr named(new CBlock_named_value(L"n"));
    EXPECT_TRUE(CBlock_ptr<CBlock_named_value>(named));
    EXPECT_TRUE(CBlock_ptr<CBlock_value>(named));
    EXPECT_FALSE(CBlock_ptr<CBlock_func>(named));
    EXPECT_FALSE(CBlock_ptr<CBlock_vec>(CBlockItemPtr()));
}

TEST(BlockPtr, CreatesWhatItReads) {
    const struct {
        const char* mText;
        const char* mItem;      ///< what a pointer to an item makes of it; an error as "!11"
        const char* mArgument;  ///< what a pointer to an argument makes of it
    } rows[] = {
        {"x=5", "x=5", "x=5"},
        {"x='a'", "x='a'", "x='a'"},
        {"f(1)", "f(1)", "f(1)"},
        {"v[1]", "v[1]", "v[1]"},
        {"$begin 'B'\nx=1\n$end 'B'", "B{x=1}", "$begin"},
        {"'q'(1)", "q(1)", "q(1)"},
        {"5=6", "=6", "=6"},
        {"x", "!7", "x"},
        {"5", "!7", "5"},
        {"x:", "!7", "x"},
        {"''=5", "=5", "''"},
        {",", "!11", "-"},
        {")", "!11", "!5"},
        {"", "!11", "!5"},
        {"x=)", "!5", "!5"},
        {"v[-1]", "!12", "!12"},
        {"$begin", "!7", "$begin"},
    };
    const auto read = [](auto pointer, const char* text) -> std::string {
        const auto stream = ByteStream(text);
        try {
            pointer.Read(*stream);
        } catch (const XStreamioError& error) {
            EXPECT_FALSE(pointer);  // what it held before it keeps
            return "!" + std::to_string(error.Code());
        }
        return Dump(*pointer);
    };
    for (const auto& [text, item, argument] : rows) {
        SCOPED_TRACE(text);
        if (std::string_view(text) != "$begin") {
            EXPECT_EQ(read(CBlockItemPtr(), text), item);
        }
        EXPECT_EQ(read(CBlockFuncArgPtr(), text), argument);
        CBlockItemPtr pointer;
        EXPECT_EQ(pointer.FromString(AString(text)), *item != '!' && std::string_view(text) != "$begin");
    }
    // One that is typed reads what it holds; one that holds nothing reads and writes nothing.
    CBlock_ptr<CBlock_vec> vec(new CBlock_vec(L"v"));
    CToken_istring         stream(L"[1, 2] x");
    vec.Read(stream);
    EXPECT_EQ(Dump(*vec), "v[1, 2]");
    CBlockPtr().Read(stream);
    EXPECT_EQ(Rest(stream), "x");
    CToken_ostring out;
    CBlockPtr().Write(out);
    CBlockItemPtr(vec.Get()).Write(out);
    EXPECT_EQ(out.String(), L"v[2: 1, 2]");
}

// --- messages

TEST(StreamioError, SaysWhatAndWhere) {
    const struct {
        const char*    mText;
        const wchar_t* mMessage;
    } rows[] = {
        {"\n\n\n\n\n\n\n\n\n\n\nx", L"Error: expected a '(' or a '=' at line# 12"},
        {"x=\n\n)", L"Error: value is not valid at line# 3"},
        {"f(1\n2)", L"Error: expected a ')', ']' or a ',' at line# 2"},
        {"v[-1]", L"Error: invalid vector size at line# 1"},
        {"\n(", L"Error: identifier expected at line# 2"},
        {"'a\\\nb'\n,", L"Error: expected a '(' or a '=' at line# 2"},
    };
    for (const auto& [text, message] : rows) {
        SCOPED_TRACE(text);
        const auto    stream = ByteStream(text);
        CBlockItemPtr item;
        try {
            item.Read(*stream);
            ADD_FAILURE() << Dump(*item);
        } catch (const XStreamioError& error) {
            EXPECT_EQ(error.Message(), message);
        }
    }
    const auto direct = [](CBlock_item&& item, const char* text) {
        const auto stream = ByteStream(text);
        try {
            item.Read(*stream);
        } catch (const XStreamioError& error) {
            return error.Message().ToNarrow();
        }
        return std::string("none");
    };
    EXPECT_EQ(direct(CBlock_named_value(), "\n5"), "Error: '=' expected at line# 2");
    EXPECT_EQ(direct(CBlock_func(), "\n\n["), "Error: '(' or '[' expected at line# 3");
    EXPECT_EQ(direct(CBlock_vec(), "("), "Error: '(' or '[' expected at line# 1");
    const CBlock block = Parsed("$begin 'A'\nx=1\n$end 'B'\n");
    EXPECT_EQ(dynamic_cast<const CBlock&>(**block.Items().begin()).ErrorsBegin()->Message(),
              L"Error: begin/end block syntax invalid at line# 3");
    EXPECT_EQ(XStreamioError(13, 7).Message(), L"Error:  at line# 7");
    EXPECT_EQ(XStreamioError(kStreamioReadError, 0).Message(), L"Error: read error at line# 0");
}

// --- item and block objects

/// A point that persists as `point(x, y)`.
class CPoint : public CStreamio_item_object {
  public:
    double mX = 0;
    double mY = 0;

  protected:
    CBlockItemPtr MakeItem() const override {
        return Item(Func(Word(L"point"), {Plain(Number(mX)), Plain(Number(mY))}));
    }
    bool TakeItem(const CBlockItemPtr& item) override {
        const CBlock_ptr<CBlock_func> function(item);
        if (!function || function->Name().View() != L"point" || function->Count() != 2) return false;
        return function->Arguments()[0]->GetDouble(mX) && function->Arguments()[1]->GetDouble(mY);
    }
};

TEST(ItemObject, PersistsAsOneItem) {
    CPoint point;
    point.mX = 1.5;
    point.mY = -2;
    EXPECT_EQ(point.ToString(), L"point(1.5, -2)");
    EXPECT_EQ(point.ToStringSized(), L"point(1.5, -2)");
    CPoint back;
    EXPECT_TRUE(back.FromString(point.ToString()));
    EXPECT_EQ(back.ToString(), point.ToString());
    CToken_ostring stream;
    EXPECT_GE(point.EstimateLength(stream), 14u);
}

TEST(ItemObject, PutsBackWhatItDoesNotTake) {
    for (const char* text :
         {"point(1)", "line(1, 2)", "point(1, 'a')", "point(1, 2", "x=5", "x", ")", "", "5 5 5",
          "$begin 'B'\nx\n$end 'B'\nx=1", "$begin 'B'\n$end 'C'\nx=1", "v[-1]", "\n\npoint\n(1)"})
        for (const std::size_t looked : {0u, 1u, 2u})
            for (const bool memory : {true, false}) {
                SCOPED_TRACE(text);
                const auto make = [&]() -> std::unique_ptr<CToken_istream> {
                    if (memory)
                        return std::make_unique<CToken_istring>(AString(("a " + std::string(text)).c_str()));
                    return ByteStream("a " + std::string(text));
                };
                const auto stream = make();
                const auto other  = make();
                for (CToken_istream* s : {stream.get(), other.get()}) {
                    s->NextToken();
                    // Whatever had been looked at and pushed back before.
                    for (std::size_t i = 0; i < looked && !s->AtEndOfFile(); ++i) {
                        CToken token;
                        s->ReadToken(token);
                        s->PushBackToken(token);
                    }
                }
                CPoint point;
                point.mX = 7;
                point.Read(*stream);
                EXPECT_TRUE(stream->good());
                EXPECT_EQ(stream->LineNumber(), other->LineNumber());
                const bool taken = std::string_view(text) == "point(1, 2";
                if (!taken) {
                    EXPECT_EQ(Rest(*stream), Rest(*other));
                }
            }
}

/// A note that persists as a block.
class CNote : public CStreamio_block_object {
  public:
    explicit CNote(const wchar_t* name) : mName(name) {}
    AString mName;
    AString mText;

  protected:
    AString BlockName() const override { return mName; }
    void    FillBlock(CBlock& block) const override {
        block.AddItem(Item(Named(Word(L"text"), Sq(mText.Str()))));
    }
    std::uint32_t TakeBlock(CBlock& block) override {
        EXPECT_EQ(LastError(), 0u);
        if (block.ErrorsBegin() != block.ErrorsEnd()) return block.ErrorsBegin()->Code();
        CBlock_named_value text(L"text");
        if (!block.LookUp(text)) return 100;
        text.GetString(mText);
        return 0;
    }
};

TEST(BlockObject, PersistsAsOneBlock) {
    CNote note(L"Note");
    note.mText = L"a\nb";
    EXPECT_EQ(Shown(note.ToString().Str()), "$begin 'Note'\n\ttext='a\\\nb'\n$end 'Note'\n");
    CNote back(L"Note");
    EXPECT_TRUE(back.FromString(note.ToString()));
    EXPECT_EQ(back.mText, note.mText);
    CToken_ostring stream;
    EXPECT_GE(note.EstimateLength(stream), note.ToString().Length());
    EXPECT_EQ(note.ToStringSized(), note.ToString());

    const struct {
        const wchar_t* mName;
        const char*    mText;
        std::uint32_t  mError;
        const char*    mNote;
        const char*    mRest;
    } rows[] = {
        {L"Note", "$begin 'Note'\ntext='a'\n$end 'Note'\nx", 0, "a", "x"},
        {L"Note", "$begin 'Note'\n$end 'Note'\nx", 100, "", "x"},
        {L"Note", "$begin 'Note'\ntext='a'\n)\n$end 'Note'\nx", kStreamioIdentifierExpected, "", "x"},
        // any block will do without a name, and what will not is put back
        {L"", "$begin 'Other'\ntext='b'\n$end 'Other'\nx", 0, "b", "x"},
        {L"", "$begin 'Other'\n$end 'Other'\nx", 100, "", "$begin 'Other' $end 'Other' x"},
    };
    for (const auto& [name, text, error, taken, rest] : rows) {
        SCOPED_TRACE(text);
        CNote      read(name);
        const auto in = ByteStream(text);
        read.Read(*in);
        EXPECT_EQ(read.LastError(), error);
        EXPECT_EQ(read.mText.ToNarrow(), taken);
        EXPECT_EQ(Rest(*in), rest);
    }
    // Without a name, where no block begins.
    CNote none(L"");
    EXPECT_FALSE(none.FromString(L"x=1"));
    EXPECT_EQ(none.LastError(), static_cast<std::uint32_t>(kStreamioBeginEndSyntax));
    // Each reading starts without an error.
    CNote again(L"Note");
    EXPECT_TRUE(again.FromString(L"$begin 'Note'\n$end 'Note'"));
    EXPECT_EQ(again.LastError(), 100u);
    EXPECT_TRUE(again.FromString(note.ToString()));
    EXPECT_EQ(again.LastError(), 0u);
    EXPECT_FALSE(again.FromString(L"x=1"));
    EXPECT_EQ(again.LastError(), static_cast<std::uint32_t>(kStreamioBeginEndSyntax));
}

// --- manipulators

TEST(Manipulators, ReadAnOptionalPairOrNothing) {
    const struct {
        const char* mText;
        bool        mBool;  ///< taken as that type
        bool        mInt;
        bool        mText_;
        bool        mNumber = false;  ///< beyond the integers
    } rows[] = {
        {"n=true z", true, false, false},
        {"n=5 z", false, true, false},
        {"n=-5.9 z", false, true, false},
        {"n='a' z", false, false, true},
        {"n=a z", false, false, true},
        {"'n'=\"\" z", false, false, true},
        {"n=3000000000 z", false, false, false, true},
        {"n=1e999", false, false, false, true},
        {"m=5 z", false, false, false},
        {"N=5 z", false, false, false},
        {"n z", false, false, false},
        {"n(5) z", false, false, false},
        {"n=", false, false, false},
        {"n=) z", false, false, false},
        {"n==5", false, false, false},
        {"n", false, false, false},
        {"=5", false, false, false},
        {"", false, false, false},
    };
    for (const auto& [text, asBool, asInt, asText, isNumber] : rows) {
        SCOPED_TRACE(text);
        const std::string behind = std::string_view(text).ends_with(" z") ? "z" : "";
        const auto        all    = Rest(*ByteStream(text));
        const auto        check  = [&, t = text, number = isNumber](auto variable, bool taken) {
            using T = decltype(variable);
            // Into a variable.
            const T    before = variable;
            const auto in     = ByteStream(t);
            const auto offset = in->TokenOffset();
            *in >> CNamed_value_manip<T>(L"n", &variable);
            EXPECT_EQ(variable == before, !taken);
            EXPECT_EQ(in->TokenOffset() == offset, !taken);
            EXPECT_EQ(Rest(*in), taken ? behind : all);
            // Into the manipulator itself, which takes any value.
            const bool            any   = asBool || asInt || asText || number;
            const auto            again = ByteStream(t);
            CNamed_value_manip<T> own(L"n", nullptr);
            *again >> own;
            EXPECT_EQ(own.Value().IsEmpty(), !any);
            EXPECT_EQ(Rest(*again), any ? behind : all);
        };
        check(false, asBool);
        check(std::int32_t{77}, asInt);
        check(AString(L"before"), asText);
    }
    // One after the other, in the middle of a line; a stream that failed is left as it is.
    CToken_istring stream(L"a=1 b='x' c=true )");
    std::int32_t   a = 0;
    AString        b;
    bool           c = false;
    stream >> CNamed_value_manip<std::int32_t>(L"a", &a) >> CNamed_value_manip<std::int32_t>(L"x", &a) >>
        CNamed_value_manip<AString>(L"b", &b) >> CNamed_value_manip<bool>(L"c", &c);
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, L"x");
    EXPECT_TRUE(c);
    stream >> CDelimiter_manip(L')');
    EXPECT_TRUE(stream.good());
    stream >> CDelimiter_manip(L')');
    EXPECT_TRUE(stream.fail());
    stream >> CNamed_value_manip<bool>(L"c", &c);
    EXPECT_TRUE(stream.fail());
}

TEST(Manipulators, WriteWhatTheyRead) {
    CToken_ostring out;
    out << CNamed_value_manip<bool>(L"on", true);
    out.NewLine();
    out << CNamed_value_manip<std::int32_t>(L"two words", -5) << CDelimiter_manip(L',')
        << CNamed_value_manip<AString>(L"text", AString(L"'a'"));
    EXPECT_EQ(Shown(out.String().Str()), "on=true\n'two words'=-5,text='\\'a\\''");
    CToken_istring in(out.String());
    bool           on    = false;
    std::int32_t   words = 0;
    AString        text;
    in >> CNamed_value_manip<bool>(L"on", &on) >> CNamed_value_manip<std::int32_t>(L"two words", &words) >>
        CDelimiter_manip(L',') >> CNamed_value_manip<AString>(L"text", &text);
    EXPECT_TRUE(in.good());
    EXPECT_TRUE(on);
    EXPECT_EQ(words, -5);
    EXPECT_EQ(text, L"'a'");
}

}  // namespace
