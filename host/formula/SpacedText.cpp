#include "host/formula/SpacedText.h"

namespace qvhost {
namespace {

bool EndsOperand(PieceKind kind) {
  return kind == PieceKind::kOperand || kind == PieceKind::kCallee || kind == PieceKind::kClose;
}

}  // namespace

void SpacedText::Append(PieceKind kind, std::string_view text) {
  if (BlankBefore(kind)) text_ += ' ';
  text_ += text;
  last_ = kind;
}

bool SpacedText::ExpectsOperand() const noexcept { return !EndsOperand(last_); }

bool SpacedText::BlankBefore(PieceKind kind) const noexcept {
  if (last_ == PieceKind::kStart || last_ == PieceKind::kOpen) return false;
  if (kind == PieceKind::kClose || kind == PieceKind::kComma) return false;
  if (kind == PieceKind::kOpen && EndsOperand(last_)) return false;
  return kind != PieceKind::kTight && last_ != PieceKind::kTight && last_ != PieceKind::kUnary;
}

}  // namespace qvhost
