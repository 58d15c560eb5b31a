#include "tessel/streamio/block_check.h"

#include "tessel/streamio/block.h"
#include "tessel/streamio/block_func.h"
#include "tessel/streamio/block_vec.h"

#include <algorithm>

namespace io {

namespace {

using Report = std::function<void(const XStreamioError&)>;

/// Makes items that read what they are meant to read and drop it.
class CPassing_factory final : public CItem_factory {
  public:
    explicit CPassing_factory(const Report& report) : mReport(report) {}

    CBlock*      NewBlock() const override;
    CBlock_func* NewFunc() const override;
    CBlock_vec*  NewVec() const override;

    void ReportErrors(const CBlock& block) const {
        std::for_each(block.ErrorsBegin(), block.ErrorsEnd(), mReport);
    }

  private:
    const Report& mReport;
};

class CPassed_block final : public CBlock {
  public:
    explicit CPassed_block(const CPassing_factory& factory) : mFactory(factory) {}

    void Read(CToken_istream& stream) override {
        CBlock::Read(stream);
        mFactory.ReportErrors(*this);
    }

  protected:
    void TakeItem(CToken_istream& stream) override { CBlockItemPtr().Read(stream, mFactory); }

  private:
    const CPassing_factory& mFactory;
};

class CPassed_func final : public CBlock_func {
  public:
    explicit CPassed_func(const CPassing_factory& factory) : mFactory(factory) {}

  protected:
    void TakeArgument(CToken_istream& stream) override { CBlockFuncArgPtr().Read(stream, mFactory); }

  private:
    const CPassing_factory& mFactory;
};

class CPassed_vec final : public CBlock_vec {
  protected:
    void TakeElement(CToken) override {}
};

CBlock* CPassing_factory::NewBlock() const {
    return new CPassed_block(*this);
}
CBlock_func* CPassing_factory::NewFunc() const {
    return new CPassed_func(*this);
}
CBlock_vec* CPassing_factory::NewVec() const {
    return new CPassed_vec;
}

}  // namespace

void CheckFile(CToken_istream& stream, const Report& report) {
    const CPassing_factory factory(report);
    CPassed_block          file(factory);
    file.ReadFile(stream);
    factory.ReportErrors(file);
}

}  // namespace io
