#include "ViewServer.h"

#include "Failure.h"
#include "Input.h"
#include "SFToolsErrors.h"
#include "ViewConnections.h"
#include "ViewJobs.h"
#include "ViewMesh.h"
#include "ViewSource.h"
#include "ViewText.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <optional>

namespace SFHost {
namespace {

struct PageFile
{
  char const* path;
  char const* type;
};

constexpr PageFile PageFiles[] = {
    {"/index.html", "text/html; charset=utf-8"},
    {"/style.css", "text/css; charset=utf-8"},
    {"/app.js", "text/javascript; charset=utf-8"},
    {"/editor.js", "text/javascript; charset=utf-8"},
    {"/panels.js", "text/javascript; charset=utf-8"},
    {"/scene.js", "text/javascript; charset=utf-8"},
    {"/transport.js", "text/javascript; charset=utf-8"},
    {"/three/build/three.module.js", "text/javascript; charset=utf-8"},
    {"/three/examples/jsm/controls/OrbitControls.js", "text/javascript; charset=utf-8"},
};

/// The page is installed at a place relative to the program, so that both may be moved.
std::filesystem::path PageFolder()
{
  return std::filesystem::canonical("/proc/self/exe").parent_path() / SFDAG_VIEW_DIR;
}

/// What a page asks for.
struct Query
{
  std::string page;
  std::optional<std::string> text; ///< absent for that of the file
  std::map<std::string, double> values;
  ViewMeshOptions mesh;
};

class ViewServer
{
public:
  ViewServer(CommonOptions const& iCommon, ViewOptions const& iOptions)
    : _options(iOptions), _settings(ReadSettings(iCommon.model)), _source(iCommon.model, iCommon.isWatching),
      _mesher(iCommon, iOptions.box)
  {
    for (PageFile const& file : PageFiles)
      AddFile(file);
    _server.Get("/version", [this](auto const&, httplib::Response& oResponse) {
      Answer(oResponse, {{"version", _source.GetVersion()}});
    });
    _server.Get("/model", [this](auto const&, httplib::Response& oResponse) { Answer(oResponse, ModelAsJson()); });
    AddWork("/mesh", "application/octet-stream", [this](Query const& iQuery, std::atomic<bool> const& iCancel) {
      return _mesher.Pack(*FieldOf(iQuery), iQuery.mesh, iCancel);
    });
    AddWork("/measure", "application/json", [this](Query const& iQuery, std::atomic<bool> const& iCancel) {
      return TextOf(_mesher.Measure(*FieldOf(iQuery), iQuery.mesh.cells, iCancel));
    });
  }

  void Run(std::function<void(std::uint16_t)> const& iReady)
  {
    iReady(_server.Bind(static_cast<std::uint16_t>(_options.port)));
    _server.listen_after_bind();
    throw Failure("view", "the server has ended");
  }

private:
  using Work = std::function<std::string(Query const&, std::atomic<bool> const&)>;

  static void Answer(httplib::Response& oResponse, Json const& iJson, int iStatus = 200)
  {
    oResponse.status = iStatus;
    oResponse.set_content(TextOf(iJson), "application/json");
  }

  /// The files are read once: what the page is made of does not change under it.
  void AddFile(PageFile const& iFile)
  {
    auto const content = std::make_shared<std::string>(ReadInput(PageFolder().string() + iFile.path));
    auto const answer = [content, type = iFile.type](auto const&, httplib::Response& oResponse) {
      oResponse.set_content(*content, type);
    };
    _server.Get(iFile.path, answer);
    if (std::string_view(iFile.path) == "/index.html")
      _server.Get("/", answer);
  }

  void AddWork(char const* iPath, char const* iType, Work const& iWork)
  {
    auto const answer = [=, this](httplib::Request const& iRequest, httplib::Response& oResponse) {
      AnswerErrors(oResponse, [&] {
        Query const query = ReadQuery(iRequest.body);
        oResponse.set_content(
            _jobs.Run(query.page + iPath, [&](std::atomic<bool> const& iCancel) { return iWork(query, iCancel); }),
            iType);
      });
    };
    _server.Post(iPath, answer);
  }

  static void AnswerErrors(httplib::Response& oResponse, std::function<void()> const& iAction)
  {
    auto const refuse = [&](std::string const& iSentence) {
      Answer(oResponse, {{"problems", ProblemsAsJson({{iSentence, 0, 0, false}})}}, 422);
    };
    try {
      iAction();
    } catch (TextProblems const& error) {
      Answer(oResponse, {{"problems", ProblemsAsJson(error.problems)}}, 422);
    } catch (SF::SFCancelled const&) {
      Answer(oResponse, {{"cancelled", true}}, 409);
    } catch (Json::exception const&) {
      Answer(oResponse, {{"error", "not the JSON that is expected"}}, 400);
    } catch (std::bad_alloc const&) {
      refuse("out of memory");
    } catch (std::exception const& error) {
      refuse(error.what());
    }
  }

  Query ReadQuery(std::string const& iBody) const
  {
    constexpr std::uint32_t leastCells = 4;
    constexpr std::size_t longestName = 64;
    Json const json = Json::parse(iBody);
    Query query;
    query.page = json.at("page").get<std::string>().substr(0, longestName);
    if (json.contains("text"))
      query.text = json["text"].get<std::string>();
    if (json.contains("values"))
      query.values = json["values"].get<std::map<std::string, double>>();
    auto const cells = json.value("cells", std::int64_t{_options.cells});
    query.mesh.cells = static_cast<std::uint32_t>(std::clamp<std::int64_t>(cells, leastCells, MaxViewCells));
    query.mesh.isMeasured = json.value("measured", false);
    query.mesh.hasCurvature = json.value("curvature", false);
    return query;
  }

  /// The last one is kept: the fine mesh of a model follows its coarse one.
  std::shared_ptr<ViewField const> FieldOf(Query const& iQuery)
  {
    ViewModel const model = _source.Get();
    if (!iQuery.text && !model.problems.empty())
      throw TextProblems(model.problems);
    std::string const& text = iQuery.text && model.notation != ViewNotation::Script ? *iQuery.text : model.model;
    std::lock_guard const lock(_access);
    if (_last == nullptr || _lastText != text || _lastValues != iQuery.values) {
      _last = std::make_shared<ViewField const>(ReadViewField(model.notation, text, iQuery.values));
      _lastText = text;
      _lastValues = iQuery.values;
    }
    return _last;
  }

  Json ModelAsJson()
  {
    ViewModel const model = _source.Get();
    return {{"name", model.name},
            {"notation", NameOf(model.notation)},
            {"text", model.text},
            {"version", model.version},
            {"watching", _source.IsWatching()},
            {"cells", _options.cells},
            {"mostCells", MaxViewCells},
            {"unit", SF::SymbolOf(_options.box.GetUnit())},
            {"values", _settings}};
  }

  ViewOptions const& _options;
  std::map<std::string, double> _settings;
  ViewSource _source;
  ViewMesher _mesher;
  ViewJobs _jobs;
  std::mutex _access;
  std::shared_ptr<ViewField const> _last;
  std::string _lastText;
  std::map<std::string, double> _lastValues;
  ViewConnections _server; ///< the last one, whose threads use the others
};

} // namespace

void ServeView(CommonOptions const& iCommon, ViewOptions const& iOptions,
               std::function<void(std::uint16_t)> const& iReady)
{
  ViewServer(iCommon, iOptions).Run(iReady);
}

} // namespace SFHost
