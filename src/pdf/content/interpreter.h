// Executes the content streams of one page with a small graphics state and
// feeds the text, graphics and image collectors.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "pdf/content/color.h"
#include "pdf/content/content_lexer.h"
#include "pdf/content/content_operations.h"
#include "pdf/content/text_entry.h"
#include "pdf/content/text_merge.h"
#include "pdf/fonts/font_info.h"
#include "pdf/model/document.h"
#include "pdf/model/geometry.h"
#include "pdf/model/page.h"

namespace zopra::pdf {

struct GraphicsEntry;

// The graphics state saved by q and restored by Q.
struct State {
  Matrix ctm;
  Matrix textMatrix;
  Matrix lineMatrix;
  std::string fontName;
  double fontSize = 0;
  // A factor: the Tz operand divided by 100.
  double horizontalScale = 1.0;
  double charSpacing = 0;
  double wordSpacing = 0;
  double leading = 0;
  double rise = 0;
  double lineWidth = 1.0;
  Color fillColor;
  Color strokeColor;
  // In page space.
  Rectangle clip;
};

// The saved states of one stream family: the page's content streams share
// one stack, each Form XObject run has its own.
struct StateStack {
  std::vector<State> states;
  // q operators past Interpreter::kMaxSavedStates, paired with the next Q
  // operators of the same stack.
  std::size_t uncountedSaves = 0;
};

// A piece of the path under construction; points are already in page space.
struct Subpath {
  std::vector<std::pair<double, double>> points;
  bool closed = false;
};

class Interpreter {
 public:
  Interpreter(Document& document, const Page& page, std::vector<TextEntry>* texts,
              std::vector<GraphicsEntry>* graphics, std::vector<std::uint32_t>* images,
              double minimumGraphicsSize, const Rectangle& initialClip);

  // Runs every content stream of the page; they share one state, one state
  // stack, one operand stack and one numbering of text-showing operators.
  void runPage();
  // Interprets one stream. `streamNumber` is 0 for page content and the Form
  // XObject's object number otherwise; `context` holds the operands and the
  // numbering of text-showing operators of this stream family.
  void run(const Bytes& bytes, const Value& resources, std::uint32_t streamNumber,
           OperationContext& context, StateStack& stateStack);
  // Executes one operator on its operands; `ordinal` numbers a text-showing
  // operator in its stream family (see OperationReader).
  void execute(const std::string& op, const Value& resources, std::uint32_t streamNumber,
               std::uint32_t ordinal, StateStack& stateStack, const std::vector<Token>& operands);
  // Do: draws an image or Form XObject of the resources.
  void drawXObject(const Value& resources, const std::string& name);
  // The cached FontInfo of a font resource, built on first use.
  FontInfo& font(const Value& resources, const std::string& name);
  // A text-showing operator with its top operand (a string or a TJ array).
  void show(const Token& operand, const Value& resources, std::uint32_t streamNumber,
            std::uint32_t ordinal, const std::string& operatorName);
  // Shows one string: fills the run's text and metrics and advances the text matrix.
  void showString(const FontInfo& fontInfo, const std::string& bytes, std::string& text,
                  RunMetrics& metrics);
  // Adds the text run of one shown string to `runs`, which the operator
  // hands to the text collector once all its strings are shown.
  void emitText(const Matrix& runMatrix, FontInfo& fontInfo, std::string text,
                const RunMetrics& metrics, std::uint32_t streamNumber, std::uint32_t ordinal,
                const std::string& operatorName, TextSource::Run source, std::vector<TextRun>& runs);
  // Width of a space of the current font, in text space.
  double spaceLength(const FontInfo& fontInfo) const;
  // Gap inside one TJ array above which a space is inserted, in text space.
  double operatorSpaceThreshold(FontInfo& fontInfo, const RunMetrics& metrics) const;
  // Paints (or only discards) the current path.
  void paint(bool stroke, bool fill);
  // One Do of an image XObject, for the image list and the graphics collector.
  void drawImage(std::uint32_t objectNumber);

  Document& document;
  const Page& page;
  std::vector<TextEntry>* texts;
  std::vector<GraphicsEntry>* graphics;
  std::vector<std::uint32_t>* images;
  double minimumGraphicsSize;
  State state;
  // Limits that keep hostile content from growing memory without bound.
  static constexpr std::size_t kMaxSavedStates = 4096;
  // The work budget of one page run, Form XObjects included. Forms drawn by
  // forms multiply the work of a few bytes of content, so the run counts what
  // it does and ends the page as damaged ("page content is too complex")
  // once any of these is spent; what was collected until then stays.
  static constexpr std::uint64_t kMaxOperators = 8000000;
  static constexpr std::uint64_t kMaxContentBytes = std::uint64_t{256} << 20;
  static constexpr std::uint64_t kMaxTextRuns = std::uint64_t{1} << 17;
  static constexpr std::uint64_t kMaxTextBytes = std::uint64_t{64} << 20;
  // Fonts this run has used (see font()); they count against the budget.
  static constexpr std::uint64_t kMaxFontBytes = std::uint64_t{256} << 20;
  // Graphics entries and listed images. One paint of a full path can make
  // kMaxPathPoints entries, and forms repeat it; this many entries take
  // 27 MB, beside the path itself.
  static constexpr std::uint64_t kMaxGraphicsEntries = std::uint64_t{1} << 17;
  std::unordered_map<std::uint64_t, std::shared_ptr<FontInfo>> fonts;
  std::vector<Subpath> path;
  // Points in `path`, bounded by kMaxPathPoints.
  static constexpr std::size_t kMaxPathPoints = std::size_t{1} << 18;
  std::size_t pathPoints = 0;
  bool clipPending = false;
  std::set<std::uint32_t> activeForms;

 private:
  // Forms nested deeper than this are not drawn, so a long chain of distinct
  // forms cannot exhaust the stack.
  static constexpr std::size_t kMaxFormDepth = 32;

  void moveTextLine(double tx, double ty);
  void nextLine();
  // Count work against the page budget; throw once it is spent.
  void chargeOperator();
  void chargeContent(std::size_t bytes);
  void chargeText(std::size_t bytes);
  void chargeFont(std::size_t bytes);
  void chargeGraphics();
  // font() without the memory of its last answer.
  FontInfo& lookUpFont(const Value& resources, const std::string& name);

  // The last font() answer and what it was asked; the FontInfo stays held
  // by `fonts` for the interpreter's life.
  FontInfo* lastFont_ = nullptr;
  const Value* lastFontResources_ = nullptr;
  std::string lastFontName_;

  std::uint64_t operators_ = 0;
  std::uint64_t contentBytes_ = 0;
  std::uint64_t textRuns_ = 0;
  std::uint64_t textBytes_ = 0;
  std::uint64_t fontBytes_ = 0;
  std::uint64_t graphicsEntries_ = 0;
  std::unordered_set<const ToUnicodeMap*> countedMaps_;
};

}  // namespace zopra::pdf
