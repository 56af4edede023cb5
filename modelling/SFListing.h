#pragma once

#include "SFField.h"

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace SF {

/// Listings: the nodes of a field one a line, operands first, each with a name, and numbers in full. Parts that are
/// shared are written once, so that a listing is as long as the field is large. docs/text_formats.md has the grammar.
///
///     # the union of a ball and a half-space
///     _0 var-x
///     _1 const 0.5
///     _2 sub _0 _1
///     ...
///     _9 min _2 _8
///
/// The field of a listing is that of its last line.

/// A place in a listing that cannot be read.
class SF_MODELLING_EXPORT SFListingError : public std::invalid_argument
{
public:
  /// `iPosition` and `iLength`: the bytes in question; `iLine` and `iColumn` count from 1, columns in bytes.
  SFListingError(std::string const& iWhy, std::size_t iPosition, std::size_t iLength, std::size_t iLine,
                 std::size_t iColumn);
  ~SFListingError() override;

  std::string const& GetReason() const { return _reason; } ///< what() without the place
  std::size_t GetPosition() const { return _position; }    ///< bytes before the place
  std::size_t GetLength() const { return _length; }        ///< bytes of the place
  std::size_t GetLine() const { return _line; }            ///< from 1
  std::size_t GetColumn() const { return _column; }        ///< from 1, in bytes

private:
  std::string _reason;
  std::size_t _position;
  std::size_t _length;
  std::size_t _line;
  std::size_t _column;
};

/// Reads a listing, in time linear in its length. The resolver, which may be null, is asked once for each id.
/// SFListingError for a line that cannot be read; std::length_error beyond SFField::MaxNodes lines.
SF_MODELLING_EXPORT SFField ReadListing(std::string_view iText, SFResourceResolver* iResolver = nullptr);

/// Fields that SFField::Resource made, by the ids of their resources.
using SFListingResources = std::map<std::string, SFField>;
/// The same with the very resources that a listing was written with, which gives an equal field again.
SF_MODELLING_EXPORT SFField ReadListing(std::string_view iText, SFListingResources const& iResources);

/// The listing of a field, equal parts as one line, which ReadListing reads back to an equal field. What is known of
/// bounds is no part of it. std::domain_error for a resource without an id that begins with "#", and for two resources
/// with one id.
SF_MODELLING_EXPORT std::string WriteListing(SFField const& iField);

} // namespace SF
