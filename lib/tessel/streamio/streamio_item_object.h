#pragma once

#include "tessel/streamio/block.h"
#include "tessel/streamio/streamio_object.h"

#include <cstdint>

namespace io {

/// Base of classes that persist as one item of a block.
class CStreamio_item_object : public CStreamio_object {
  public:
    void        Write(CToken_ostream& stream) const override;
    std::size_t EstimateLength(const CToken_ostream& stream) const override;
    /// Reads one item. When there is none, or the object does not take it, the stream stands where it
    /// stood and is good: errors are swallowed.
    void Read(CToken_istream& stream) override;

  protected:
    /// Makes an item that represents the object.
    virtual CBlockItemPtr MakeItem() const = 0;
    /// Takes the object's state from an item. False when it is none of its own.
    virtual bool TakeItem(const CBlockItemPtr& item) = 0;
};

/// Base of classes that persist as one named block.
class CStreamio_block_object : public CStreamio_item_object {
  public:
    void Write(CToken_ostream& stream) const override;
    /// Reads the block, or any block when the object's name is empty. `LastError()` says how it went.
    void Read(CToken_istream& stream) override;

    /// What `TakeBlock` answered last; 0 is success, and what every reading starts with.
    std::uint32_t LastError() const noexcept { return mLastError; }

  protected:
    virtual AString BlockName() const = 0;
    /// Fills a block from the object.
    virtual void FillBlock(CBlock& block) const = 0;
    /// Takes the object's state from a block; returns an error code of the class's own, 0 for success.
    virtual std::uint32_t TakeBlock(CBlock& block) = 0;

    CBlockItemPtr MakeItem() const override;
    bool          TakeItem(const CBlockItemPtr& item) override;

  private:
    std::uint32_t mLastError = 0;
};

}  // namespace io
