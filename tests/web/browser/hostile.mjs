// Thirty texts as strangers write them into a log, each with a mark by which it is found again.
export const HOSTILE = [
  "<script>window.ran=1</script>",
  "<img src=x onerror='window.ran=1'>",
  "<svg/onload=window.ran=1>",
  "\"><script>window.ran=1</script>",
  "' autofocus onfocus=window.ran=1 x='",
  "</bdi></td></tr></table><iframe srcdoc='<script>parent.ran=1</script>'>",
  "javascript:window.ran=1",
  "<a href=javascript:window.ran=1>click</a>",
  "<style>*{display:none}</style>",
  "<base href=//attacker.example/>",
  "<meta http-equiv=refresh content='0;url=//attacker.example/'>",
  "<link rel=stylesheet href=//attacker.example/x.css>",
  "<form action=//attacker.example/><button>Show</button>",
  "<template shadowrootmode=open><script>window.ran=1</script></template>",
  "<!-- --><![CDATA[<script>window.ran=1</script>]]>",
  "&lt;script&gt;window.ran=1&lt;/script&gt;",
  "{{constructor.constructor('window.ran=1')()}} ${window.ran=1}",
  "photo_\u202egpj.exe",
  "\u2067exe.\u2066txt\u2069\u2069",
  "\u200fadmin\u200e",
  "ad\u200bmin \u2060x\ufeffy",
  "caf\u00ad\u034fe \u115f\u3164\uffa0.",
  "tag \u{e0041}\u{e0042} \ufe0f\u180e",
  "\x1b[2J\x1b]0;owned\x07",
  "line one\r\nSet-Cookie: owned=1\r\n\r\n<script>window.ran=1</script>",
  "tab\there \x08\x08\x08\x7f\u0085\u2028\u2029end",
  "%3Cscript%3Ewindow.ran=1%3C/script%3E &amp; %00",
  "=HYPERLINK(\"//attacker.example/\";\"click\")",
  "' OR 1=1; DROP TABLE ANNAL_EVENT; --",
  "Z\u0351\u036b\u0343a\u0321l\u0353g\u030do ".repeat(20),
].map((text, place) => `#${place + 1} ${text}`);

// What may not be in a page as it is: it hides, or steers.
export const STEERING =
  /[\u0000-\u0008\u000b-\u001f\u007f-\u009f\u00ad\u034f\u061c\u115f\u1160\u17b4\u17b5\u180b-\u180f\u200b-\u200f\u2028-\u202e\u2060-\u206f\u2800\u3164\ufe00-\ufe0f\ufeff\uffa0\ufff0-\ufffb\u{e0000}-\u{e0fff}]/u;
