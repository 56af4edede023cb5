#include "Input.h"
#include "Model.h"
#include "Text.h"
#include "Verbs.h"

namespace SFHost {
namespace {

struct TextVerbOptions
{
  TextOptions text;
  bool expand = false;
};

void Text(CommonOptions const& iCommon, TextVerbOptions const& iOptions)
{
  RequireOtherFile(iCommon.model, iOptions.text.path);
  if (iOptions.expand && iCommon.model.strict)
    throw UsageError("give either --expand or --strict, not both");
  bool const asMeant = (IsListing(iOptions.text.path) || IsFormula(iOptions.text.path)) && !iCommon.model.strict;
  if (iOptions.expand || asMeant)
    return WriteText(iCommon, iOptions.text, LoadField(iCommon.model));
  Model const model = LoadModel(iCommon.model);
  auto const digits = iCommon.model.strict ? SF::SFDigits::ESix : SF::SFDigits::EAll;
  WriteText(iCommon, iOptions.text, CanonicalText(iCommon, model, *model.root, digits));
}

} // namespace

Action AddText(Arguments& ioArguments)
{
  auto const options = std::make_shared<TextVerbOptions>();
  options->text.AddTo(ioArguments);
  ioArguments.Flag({.names = "--expand",
                    .values = "",
                    .help = "Write transforms, blends and offsets as the operators that they mean"},
                   options->expand);
  ioArguments.Examples("  sfdag text bracket.sf\n"
                       "  sfdag text bracket.sf -o bracket.vm\n"
                       "  sfdag text -e 'translate(sphere(2), [3, 0, 0])'\n"
                       "  sfdag text -x 'm[1;0;0;3;0;1;0;0;0;0;1;0;0;0;0;1] X' --expand");
  return [options](CommonOptions const& iCommon) { Text(iCommon, *options); };
}

} // namespace SFHost
