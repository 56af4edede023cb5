#pragma once

#include <string_view>
#include <vector>

namespace SF {

/// What stands between the brackets of a token. The pieces refer to the text that they are cut from.

/// The pieces between separators; an empty text is one empty piece.
std::vector<std::string_view> SplitPieces(std::string_view iText, char iSeparator);

/// The numbers of a list, separated by ";"; one that cannot be read is 0.
std::vector<double> ReadNumberList(std::string_view iText);

/// The ids of groups "[id;id]" that follow one another, group by group; "[]" is a group without ids. False, with
/// the groups up to there, when the text is not made of such groups.
bool ReadIdGroups(std::string_view iText, std::vector<std::vector<std::string_view>>& oGroups);

} // namespace SF
