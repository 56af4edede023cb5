#include "SFVolumeWriter.h"

#include <array>
#include <cstdio>
#include <string>

namespace SF {
namespace {

/// Enough digits to read the same number back.
std::string Number(double iValue)
{
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.17g", iValue);
  return text.data();
}

std::string Joined(std::array<std::string, 3> const& iTexts, std::string const& iBetween)
{
  return iTexts[0] + iBetween + iTexts[1] + iBetween + iTexts[2];
}

std::array<std::string, 3> Numbers(std::array<double, 3> const& iValues)
{
  return {Number(iValues[0]), Number(iValues[1]), Number(iValues[2])};
}

/// The header of NumPy's format 1.0, padded so that the data begins at a multiple of 64.
/// Source: numpy.org, "numpy.lib.format", section "Format Version 1.0".
std::string NpyHeader(SFGridFrame const& iFrame)
{
  constexpr std::size_t prefix = 10; // magic, version and the length of the rest in two bytes
  std::string text =
      "{'descr': '<f4', 'fortran_order': False, 'shape': (" +
      Joined({std::to_string(iFrame.dims[2]), std::to_string(iFrame.dims[1]), std::to_string(iFrame.dims[0])}, ", ") +
      "), }";
  while ((prefix + text.size() + 1) % 64 != 0)
    text += ' ';
  text += '\n';
  std::string header("\x93NUMPY\x01\x00", 8);
  header += static_cast<char>(text.size() % 256);
  header += static_cast<char>(text.size() / 256);
  return header + text;
}

/// Source: teem.sourceforge.net, "Definition of NRRD File Format". The space has no name: these are no patients.
std::string NrrdHeader(SFGridFrame const& iFrame, SFVolumeOptions const& iOptions)
{
  auto const [nx, ny, nz] = iFrame.dims;
  std::string const h = Number(iFrame.voxel);
  std::string const unit = std::string(1, '"').append(SymbolOf(iOptions.unit)).append(1, '"');
  return "NRRD0004\ncontent: " + iOptions.name + "\ntype: float\ndimension: 3\nspace dimension: 3\nsizes: " +
         Joined({std::to_string(nx), std::to_string(ny), std::to_string(nz)}, " ") + "\nspace directions: (" + h +
         ",0,0) (0," + h + ",0) (0,0," + h + ")\nspace origin: (" + Joined(Numbers(iFrame.origin), ",") +
         ")\nspace units: " + Joined({unit, unit, unit}, " ") + "\nendian: little\nencoding: raw\n\n";
}

/// Eight bytes, the lowest first.
std::string Bytes(std::uint64_t iNumber)
{
  std::string bytes;
  for (int byte = 0; byte < 8; ++byte)
    bytes += static_cast<char>(iNumber >> (8 * byte) & 0xff);
  return bytes;
}

/// A name as an attribute of XML.
std::string Escaped(std::string const& iText)
{
  std::string escaped;
  for (char const character : iText)
    switch (character) {
    case '&':
      escaped += "&amp;";
      break;
    case '<':
      escaped += "&lt;";
      break;
    case '"':
      escaped += "&quot;";
      break;
    default:
      escaped += character;
    }
  return escaped;
}

/// Source: "VTK File Formats", section "XML File Formats": the values follow as appended raw data behind their count of
/// bytes.
std::string VtiHeader(SFGridFrame const& iFrame, SFVolumeOptions const& iOptions)
{
  std::array<std::string, 3> last;
  for (std::size_t axis = 0; axis < last.size(); ++axis)
    last[axis] = "0 " + std::to_string(iFrame.dims[axis] - 1);
  std::string const extent = Joined(last, " ");
  std::string const spacing = Joined(Numbers({iFrame.voxel, iFrame.voxel, iFrame.voxel}), " ");
  std::string const name = Escaped(iOptions.name);
  return "<?xml version=\"1.0\"?>\n"
         "<VTKFile type=\"ImageData\" version=\"1.0\" byte_order=\"LittleEndian\" header_type=\"UInt64\">\n"
         "<ImageData WholeExtent=\"" +
         extent + "\" Origin=\"" + Joined(Numbers(iFrame.origin), " ") + "\" Spacing=\"" + spacing +
         "\">\n<Piece Extent=\"" + extent + "\">\n<PointData Scalars=\"" + name +
         "\">\n<DataArray type=\"Float32\" Name=\"" + name +
         "\" format=\"appended\" offset=\"0\"/>\n</PointData>\n</Piece>\n</ImageData>\n"
         "<AppendedData encoding=\"raw\">\n_" +
         Bytes(iFrame.PointCount() * sizeof(float));
}

class DenseWriter : public SFVolumeWriter
{
public:
  DenseWriter(std::string const& iHeader, std::string iEnd, SFOutputFile& ioFile) : _end(std::move(iEnd)), _file(ioFile)
  {
    _file.Write(iHeader);
  }

  void Add(std::uint32_t, std::span<float const> iValues) override
  {
    _file.Write(iValues);
    _written += iValues.size();
  }

  std::uint64_t Finish() override
  {
    _file.Write(_end);
    return _written;
  }

private:
  std::string _end;
  SFOutputFile& _file;
  std::uint64_t _written = 0;
};

} // namespace

std::string DenseHeader(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFVolumeOptions const& iOptions)
{
  switch (iFormat) {
  case SFVolumeFormat::Npy:
    return NpyHeader(iFrame);
  case SFVolumeFormat::Nrrd:
    return NrrdHeader(iFrame, iOptions);
  case SFVolumeFormat::Vti:
    return VtiHeader(iFrame, iOptions);
  case SFVolumeFormat::Raw:
  case SFVolumeFormat::Vdb:
    break;
  }
  return {};
}

std::string DenseEnd(SFVolumeFormat iFormat)
{
  return iFormat == SFVolumeFormat::Vti ? "\n</AppendedData>\n</VTKFile>\n" : "";
}

std::unique_ptr<SFVolumeWriter> MakeDenseWriter(SFGridFrame const& iFrame, SFVolumeFormat iFormat, SFOutputFile& ioFile,
                                                SFVolumeOptions const& iOptions)
{
  ioFile.RequireRoom(static_cast<double>(iFrame.PointCount()) * sizeof(float));
  return std::make_unique<DenseWriter>(DenseHeader(iFrame, iFormat, iOptions), DenseEnd(iFormat), ioFile);
}

} // namespace SF
