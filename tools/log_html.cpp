// A log as one HTML page.
#include <cstdio>

#include "demo/xml.h"
#include "tools/hbci_text.h"
#include "tools/log_export.h"
#include "tools/log_lines.h"
#include "tools/output.h"
#include "tools/utf8.h"

namespace tmx::tools {
namespace {

using Kind = LogBlock::Kind;

constexpr const char* kStyle = R"css(
:root { color-scheme: light dark; --paper: #fff; --ink: #1b1f24; --soft: #5a6470; --line: #d8dee4;
  --head: #0b5cad; --sent: #0a6c3d; --received: #8a3ffc; --hit: #ffe08a; --bar: #f3f5f7; }
@media (prefers-color-scheme: dark) { :root { --paper: #14181d; --ink: #e4e8ec; --soft: #9aa5b1;
  --line: #333b44; --head: #6cb4ff; --sent: #5fd39a; --received: #c9a4ff; --hit: #6b5300;
  --bar: #1d232a; } }
* { box-sizing: border-box; }
body { margin: 0; background: var(--paper); color: var(--ink);
  font: 15px/1.5 system-ui, sans-serif; overflow-wrap: anywhere; }
header { position: sticky; top: 0; z-index: 1; background: var(--bar);
  border-bottom: 1px solid var(--line); padding: .5rem .75rem; }
h1 { font-size: 1rem; margin: 0 0 .4rem; }
.tools { display: flex; flex-wrap: wrap; gap: .4rem; align-items: center; }
input, button { font: inherit; padding: .3rem .6rem; border: 1px solid var(--line);
  border-radius: .4rem; background: var(--paper); color: inherit; min-height: 2.3rem; }
input { flex: 1 1 10rem; min-width: 0; }
output { color: var(--soft); min-width: 5rem; }
main { max-width: 70rem; margin: 0 auto; padding: .5rem .75rem 4rem; }
details { border: 1px solid var(--line); border-radius: .5rem; margin: .5rem 0; }
summary { cursor: pointer; padding: .45rem .6rem; font-weight: 600; scroll-margin-top: 8rem; }
.sent > summary { color: var(--sent); }
.received > summary { color: var(--received); }
.body { border-top: 1px solid var(--line); padding: .4rem .6rem; }
.segment, pre, .info { font: 13px/1.6 ui-monospace, monospace; scroll-margin-top: 8rem; }
.segment { padding: .1rem 0 .1rem 1.2rem; text-indent: -1.2rem; }
.inside { margin-left: 1.2rem; }
.info { margin: .5rem .1rem; white-space: pre-wrap; }
.segment b { color: var(--head); margin-right: .5rem; }
.segment i { font-style: normal; color: var(--soft); background: var(--bar); font-size: .8em;
  margin: 0 .25rem 0 .6rem; padding: 0 .3em; border-radius: .3em; user-select: none; }
pre { margin: .2rem 0 .4rem 1.2rem; white-space: pre-wrap; }
.hit { background: var(--hit); }
.current { outline: 2px solid var(--head); outline-offset: 1px; }
@media print { header { position: static; } .tools { display: none; } }
)css";

constexpr const char* kScript = R"js(
"use strict";
const $ = (id) => document.getElementById(id);
const blocks = [...document.querySelectorAll("details")];
const lines = [...document.querySelectorAll(".segment, pre, .info")];
let hits = [], at = -1;
function show(line) {
  for (const old of document.querySelectorAll(".current")) old.classList.remove("current");
  if (!line) return;
  const block = line.closest("details");
  if (block) block.open = true;
  line.classList.add("current");
  line.scrollIntoView({block: "center"});
}
function count() { $("count").value = $("search").value
  ? (hits.length ? at + 1 + " / " + hits.length : "nothing found") : ""; }
function search() {
  const text = $("search").value.toLowerCase();
  hits = text ? lines.filter((line) => line.textContent.toLowerCase().includes(text)) : [];
  for (const line of lines) line.classList.toggle("hit", hits.includes(line));
  at = hits.length ? 0 : -1;
  show(hits[at]);
  count();
}
function step(by) {
  if (!hits.length) return;
  at = (at + by + hits.length) % hits.length;
  show(hits[at]);
  count();
}
function jump(kind) {
  const all = blocks.filter((block) => block.classList.contains(kind));
  if (!all.length) return;
  const now = document.querySelector(".current");
  const next = now && all.find((block) =>
    now.compareDocumentPosition(block) & Node.DOCUMENT_POSITION_FOLLOWING && !block.contains(now));
  const block = next || all[0];
  block.open = true;
  show(block.querySelector("summary"));
}
// The lines that tmx log export prints as text.
function linesOf(row) {
  if (row.tagName !== "PRE")
    return [(row.classList.contains("inside") ? "  " : "") + [...row.childNodes].map((part) =>
      part.nodeName === "I" ? "  " + part.textContent + "=" : part.textContent).join("")];
  const indent = row.parentNode.querySelector(".segment") ? "      | " : "";
  return row.textContent.replace(/\n$/, "").split("\n").map((line) => indent + line);
}
function save() {
  const all = [...document.querySelectorAll("main .info, main summary, main .segment, main pre")]
    .flatMap((row) => row.tagName === "SUMMARY" ? ["", "== " + row.textContent + " =="]
      : row.classList.contains("info") ? [row.textContent] : linesOf(row));
  const link = document.createElement("a");
  link.href = URL.createObjectURL(new Blob([all.join("\n") + "\n"], {type: "text/plain"}));
  link.download = document.title + ".txt";
  link.click();
}
function fold(open) { for (const block of blocks) block.open = open; }
$("search").addEventListener("input", search);
$("search").addEventListener("keydown", (event) => {
  if (event.key === "Enter") { event.preventDefault(); step(event.shiftKey ? -1 : 1); } });
$("next").addEventListener("click", () => step(1));
$("sent").addEventListener("click", () => jump("sent"));
$("received").addEventListener("click", () => jump("received"));
$("fold").addEventListener("click", () => fold(false));
$("unfold").addEventListener("click", () => fold(true));
$("save").addEventListener("click", save);
)js";

using demo::EscapedXml;

void Put(std::string_view html) { std::fwrite(html.data(), 1, html.size(), stdout); }

// Control characters other than line ends and tabs as dots; they must not stand in a page.
std::string Clean(std::string_view utf8) {
  std::string text;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\r') continue;
    text += (byte < ' ' && c != '\n' && c != '\t') || byte == 0x7F ? '.' : c;
  }
  return EscapedXml(text);
}

void PutClean(const Produce& text, const Sink& to) {
  PutAsUtf8(text, [&](std::string_view piece) { to(Clean(piece)); });
}

void PutPreformatted(const Produce& text) {
  Put("<pre>");
  PutClean(text, Put);
  Put("</pre>\n");
}

void PutHead(ShownLog& log, const SegmentReader& segment, const GroupElement& group) {
  if (group.group != 0) Put(":");
  if (group.is_binary) return Put("&lt;" + std::to_string(group.raw.Size()) + " bytes&gt;");
  log.Text(segment, group)([](std::string_view piece) { Put(EscapedXml(Utf8(Printable(piece)))); });
}

// A label that stands before the first piece of an element, if there is any.
class ElementPrinter {
 public:
  void Put(ShownLog& log, const SegmentReader& segment, const GroupElement& group) {
    if (group.group == 0) is_labelled_ = false;
    const auto put = [&](std::string_view html) {
      if (html.empty()) return;
      if (!is_labelled_) tools::Put("<i>" + std::to_string(group.element) + "</i>");
      is_labelled_ = true;
      tools::Put(html);
    };
    if (group.group != 0) put(":");
    if (group.is_binary) return put("&lt;" + std::to_string(group.raw.Size()) + " bytes&gt;");
    PutClean(log.Text(segment, group), put);
  }

 private:
  bool is_labelled_ = false;
};

void PutSegment(ShownLog& log, SegmentReader& segment) {
  SegmentReader again = segment;
  Put(segment.IsInside() ? "<div class=\"segment inside\"><b>" : "<div class=segment><b>");
  ElementPrinter element;
  bool is_head = true;
  for (GroupElement group; segment.NextElement(group);) {
    if (is_head && group.element != 1) Put("</b>"), is_head = false;
    is_head ? PutHead(log, segment, group) : element.Put(log, segment, group);
  }
  Put(is_head ? "</b></div>\n" : "</div>\n");
  if (segment.IsContainer()) return;
  for (GroupElement group; again.NextElement(group);) {
    if (!group.is_binary || group.element == 1) continue;
    const Produce raw = log.Raw(again, group);
    if (IsText(raw)) PutPreformatted(raw);
  }
}

}  // namespace

void HtmlPrinter::Begin() {
  Put("<!DOCTYPE html>\n<html lang=en>\n<head>\n<meta charset=utf-8>\n"
      "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n"
      "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; style-src "
      "'unsafe-inline'; script-src 'unsafe-inline'\">\n<title>" +
      EscapedXml(AsUtf8(title_)) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n" +
      "<header>\n<h1>" + EscapedXml(AsUtf8(title_)) +
      "</h1>\n<div class=tools>"
      "<input id=search type=search placeholder=\"Search\" aria-label=Search>"
      "<output id=count></output><button id=next>Next hit</button>"
      "<button id=sent>Next sent</button><button id=received>Next received</button>"
      "<button id=fold>Fold all</button><button id=unfold>Unfold all</button>"
      "<button id=save>Save as text</button></div>\n"
      "</header>\n<main>\n");
}

void HtmlPrinter::Block(ShownLog& log, const LogBlock& block) {
  const std::string title = TitleOf(block);
  if (title.empty()) {
    Put("<div class=info>");
    Put(LabelOf(block));
    PutClean(log.Body(block), Put);
    Put("</div>\n");
    return;
  }
  const char* const direction = !HasDirection(block) ? "" : block.sent ? "sent" : "received";
  Put("<details open class=\"" + std::string(direction) + "\"><summary>" + title +
      "</summary><div class=body>\n");
  if (block.kind == Kind::Message) {
    SegmentReader segments = log.Segments(block);
    while (segments.NextSegment()) PutSegment(log, segments);
  } else {
    PutPreformatted(log.Body(block));
  }
  Put("</div></details>\n");
}

void HtmlPrinter::End() {
  Put("</main>\n<script>" + std::string(kScript) + "</script>\n</body>\n</html>\n");
}

}  // namespace tmx::tools
