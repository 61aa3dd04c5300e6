#include "web/OfflinePage.h"

std::string OfflinePage::html(const Url& origin) {
    return R"html(<!doctype html><meta charset="utf-8">
<meta name="viewport" content="width=device-width,initial-scale=1">
<style>
  html,body{height:100%;margin:0;background:#0f1115;color:#9aa0aa;
    font:15px/1.5 -apple-system,BlinkMacSystemFont,sans-serif;
    display:flex;align-items:center;justify-content:center}
  div{text-align:center}
  b{display:block;font-size:30px;font-weight:700;color:#fff;margin-bottom:10px}
  b i{font-style:normal;color:#8074ff}
  a{display:inline-block;margin-top:18px;padding:9px 18px;border-radius:9px;
    background:#8074ff;color:#fff;text-decoration:none;font-weight:600}
</style>
<div><b>bris<i>ko</i></b>)html" +
           origin.host().value_or("") + R"html( cannot be reached.<br>It needs a connection to load.
<a href=")html" +
           origin.text() + R"html(/">Try again</a></div>)html";
}
