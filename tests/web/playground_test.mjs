// The playground in a real browser: serves the built page on a loopback port, drives headless
// Chromium through the DevTools protocol (over a pipe, so nothing but Node and the browser is
// needed) and compares what the page shows with what the Linux qorvintr command prints, computed
// here in the same run:
//   0. the page opened from file:// loads the engine and shows the example's table;
//   1. the example loads and shows the same table as `qorvintr run` over the bundled example;
//   2. scripts of the corpus (tests/scripts/*.cases), typed into the editor over their fields,
//      give the same result line, ReportError lines and debug log as `qorvintr eval`;
//   3. an erroneous script shows the Error result, its ReportError call and a check warning;
//   4. a screenshot is saved.
// Exit status 0: passed; 1: failed; 77: skipped (no browser).
//
// node playground_test.mjs --site DIR --qorvintr EXE --root SOURCE_DIR --screenshot FILE
//                          [--chromium EXE] [--min-cases N]

import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import http from 'node:http';
import os from 'node:os';
import path from 'node:path';

const NOW = '3/14/2002 9:30:00 AM';
const started = Date.now();

function option(name, fallback) {
  const i = process.argv.indexOf('--' + name);
  if (i >= 0 && i + 1 < process.argv.length) return process.argv[i + 1];
  if (fallback === undefined) fail('missing --' + name);
  return fallback;
}

function fail(message) {
  console.error('FAIL: ' + message);
  process.exit(1);
}

const site = path.resolve(option('site'));
const qorvintr = path.resolve(option('qorvintr'));
const root = path.resolve(option('root'));
const screenshot = path.resolve(option('screenshot'));
const minCases = Number(option('min-cases', '50'));

function findChromium() {
  const given = option('chromium', process.env.CHROMIUM || '');
  const candidates = given ? [given] : ['/usr/bin/chromium', '/usr/bin/chromium-browser',
                                        '/usr/bin/google-chrome'];
  return candidates.find((c) => fs.existsSync(c));
}

const chromium = findChromium();
if (!chromium) {
  console.log('SKIP: no Chromium found (install the Debian package chromium); the playground ' +
              'was not tested in a browser');
  process.exit(77);
}
for (const f of ['index.html', 'playground.js', 'qorvintr.js']) {
  if (!fs.existsSync(path.join(site, f))) fail(`the built page has no ${f} in ${site}`);
}
if (!fs.existsSync(qorvintr)) fail('no qorvintr command at ' + qorvintr);

// ---- what the command answers -------------------------------------------------------------

function command(args) {
  const r = spawnSync(qorvintr, args, { cwd: root, encoding: 'utf8', timeout: 20000 });
  if (r.error) fail('qorvintr ' + args.join(' ') + ': ' + r.error.message);
  return r;
}

// The cases' escapes: \t \r \n \\ and \uXXXX.
function unescapeCase(text) {
  return text.replace(/\\(u[0-9A-Fa-f]{4}|[trn\\])/g, (_, e) => {
    if (e[0] === 'u') return String.fromCharCode(parseInt(e.slice(1), 16));
    return { t: '\t', r: '\r', n: '\n', '\\': '\\' }[e];
  });
}

function readCases() {
  const dir = path.join(root, 'tests', 'scripts');
  const cases = [];
  for (const file of fs.readdirSync(dir).filter((f) => f.endsWith('.cases')).sort()) {
    let current = null;
    for (const line of fs.readFileSync(path.join(dir, file), 'utf8').split(/\r?\n/)) {
      const m = /^([a-z]+): ?(.*)$/.exec(line);
      if (!m || line.startsWith('#')) continue;
      if (m[1] === 'case') {
        current = { name: file.replace(/\.cases$/, '') + ':' + m[2].trim(), fields: [], script: null };
        cases.push(current);
      } else if (current && m[1] === 'field') {
        current.fields.push(m[2]);  // already in the fields file's format
      } else if (current && m[1] === 'script') {
        current.script = unescapeCase(m[2]);
      }
    }
  }
  return cases;
}

const temp = fs.mkdtempSync(path.join(os.tmpdir(), 'qorvintr-playground-'));
process.on('exit', () => fs.rmSync(temp, { recursive: true, force: true, maxRetries: 5 }));

// A textarea keeps no CR (the page reads its text with line feeds only), so scripts with a CR
// cannot be typed as they are; every other script of the corpus is.
const cases = readCases().filter((c) => c.script !== null && !c.script.includes('\r'));
for (const c of cases) {
  c.fieldsText = c.fields.map((f) => f + '\n').join('');
  const file = path.join(temp, 'fields.txt');
  fs.writeFileSync(file, c.fieldsText);
  const r = command(['eval', '--errors', '--log-stderr', '--now', NOW, '--fields', file, '--', c.script]);
  c.expected = { stdout: r.stdout, stderr: r.stderr, status: r.status };
}
if (cases.length < minCases) fail(`only ${cases.length} corpus scripts to compare (want ${minCases})`);

// `bash scripts/run.sh` ends in exactly this command.
const exampleArgs = ['run', '--fields', 'examples/document-fields.txt', '--scripts', 'examples/hl7-scripts.txt'];
const exampleTable = command(exampleArgs);
if (exampleTable.status !== 0) fail('qorvintr run failed: ' + exampleTable.stderr);

const exampleHl7 = command([...exampleArgs, '--hl7']);
// One field changed in the page's table, as --field changes it for the command.
const editedTable = command([...exampleArgs, '--field', 'SexCode=M']);
const fromHeader = (text) => text.slice(text.indexOf('FIELD '));

const BAD_SCRIPT = 'Amount / Copay - 25';
const badFile = path.join(temp, 'example-fields.txt');
fs.copyFileSync(path.join(root, 'examples', 'document-fields.txt'), badFile);
const badExpected = command(['eval', '--errors', '--log-stderr', '--now', NOW, '--fields', badFile, '--', BAD_SCRIPT]);
const badCheck = command(['check', '--json', '--fields', badFile, BAD_SCRIPT]);
// The trace of a script the page shows beside its answer: the steps of qorvintr explain (whose
// report steps and result line the page shows in panels of their own).
const TRACE_SCRIPT = 'IF (Amount - Copay ) > 1000 THEN "REVIEW" ELSE "AUTO" END IF';
const traceExpected = command(['explain', '--now', NOW, '--fields', badFile, '--', TRACE_SCRIPT]).stdout
  .split('\n').filter((l) => l.startsWith('  ') && !l.trim().startsWith('ReportError: '))
  .map((l) => l.trim());

// ---- the page on a loopback port ----------------------------------------------------------

const TYPES = { '.html': 'text/html', '.js': 'text/javascript', '.css': 'text/css', '.png': 'image/png' };
const server = http.createServer((req, res) => {
  const name = decodeURIComponent(new URL(req.url, 'http://x').pathname);
  const file = path.join(site, name === '/' ? 'index.html' : name);
  if (!file.startsWith(site + path.sep) || !fs.existsSync(file) || !fs.statSync(file).isFile()) {
    res.writeHead(404).end();
    return;
  }
  res.writeHead(200, { 'Content-Type': TYPES[path.extname(file)] || 'application/octet-stream' });
  fs.createReadStream(file).pipe(res);
});
await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
const url = `http://127.0.0.1:${server.address().port}/index.html`;

// ---- Chromium through the DevTools protocol ----------------------------------------------

const browser = spawn(chromium, [
  '--headless=new', '--no-sandbox', '--disable-gpu', '--no-first-run', '--no-default-browser-check',
  '--disable-extensions', '--remote-debugging-pipe', `--user-data-dir=${path.join(temp, 'profile')}`,
  'about:blank',
], { stdio: ['ignore', 'ignore', 'pipe', 'pipe', 'pipe'] });
let browserLog = '';
browser.stderr.on('data', (d) => { browserLog = (browserLog + d).slice(-4000); });
const watchdog = setTimeout(() => {
  console.error('FAIL: the browser test took longer than 240 s');
  browser.kill('SIGKILL');
  process.exit(1);
}, 240000);

let nextId = 1;
const pending = new Map();
let received = Buffer.alloc(0);
browser.stdio[4].on('data', (chunk) => {
  received = Buffer.concat([received, chunk]);
  for (let end; (end = received.indexOf(0)) >= 0;) {
    const message = JSON.parse(received.subarray(0, end).toString('utf8'));
    received = received.subarray(end + 1);
    const waiter = pending.get(message.id);
    if (waiter) {
      pending.delete(message.id);
      if (message.error) waiter.reject(new Error(waiter.method + ': ' + message.error.message));
      else waiter.resolve(message.result);
    }
  }
});
browser.on('exit', (code) => {
  for (const w of pending.values()) w.reject(new Error('the browser ended (' + code + ')\n' + browserLog));
});

function send(method, params = {}, sessionId) {
  const id = nextId++;
  const message = { id, method, params };
  if (sessionId) message.sessionId = sessionId;
  browser.stdio[3].write(JSON.stringify(message) + '\0');
  return new Promise((resolve, reject) => pending.set(id, { resolve, reject, method }));
}

let session;
const page = (method, params) => send(method, params, session);

async function js(expression) {
  const r = await page('Runtime.evaluate', { expression, returnByValue: true, awaitPromise: true });
  if (r.exceptionDetails) throw new Error('in the page: ' + JSON.stringify(r.exceptionDetails));
  return r.result.value;
}

async function until(expression, what, ms = 20000) {
  const end = Date.now() + ms;
  while (Date.now() < end) {
    if (await js(expression)) return;
    await new Promise((r) => setTimeout(r, 20));
  }
  throw new Error('waited in vain for ' + what);
}

async function key(name, code, keyCode) {
  for (const type of ['keyDown', 'keyUp']) {
    await page('Input.dispatchKeyEvent', { type, key: name, code, windowsVirtualKeyCode: keyCode });
  }
}

// Types text into the element with the id (or the one a selector finds), replacing what it
// holds, as a person would: focus, select everything, delete it, type.
async function typeInto(id, text, selector) {
  const find = selector ? `document.querySelector(${JSON.stringify(selector)})`
                        : `document.getElementById(${JSON.stringify(id)})`;
  await js(`(() => { const e = ${find}; e.focus(); e.select(); })()`);
  await key('Backspace', 'Backspace', 8);
  if (text !== '') await page('Input.insertText', { text });
}

const problems = [];
function same(what, shown, expected) {
  if (shown !== expected) {
    problems.push(`${what}:\n    page:    ${JSON.stringify(shown)}\n    command: ${JSON.stringify(expected)}`);
    return false;
  }
  return true;
}

try {
  const { targetInfos } = await send('Target.getTargets');
  const target = targetInfos.find((t) => t.type === 'page');
  if (!target) throw new Error('the browser opened no page');
  ({ sessionId: session } = await send('Target.attachToTarget', { targetId: target.targetId, flatten: true }));
  await page('Runtime.enable');
  await page('Emulation.setDeviceMetricsOverride', { width: 1400, height: 1000, deviceScaleFactor: 1, mobile: false });
  // 0. Opened from the file, without a server (the module carries its wasm and the example).
  await page('Page.navigate', { url: 'file://' + path.join(site, 'index.html') });
  await until('window.playground && window.playground.ready === true', 'the page from file:// to load the engine');
  same('the example table, page opened from file://',
       await js(`document.getElementById('run-output').textContent`), exampleTable.stdout);
  console.log('opened from file://: the engine loaded');
  await js('window.playground.ready = false');  // so that the wait below sees the new page

  await page('Page.navigate', { url });
  await until('window.playground && window.playground.ready === true', 'the page to load the engine');

  // The clock of the command's --now.
  const runsBefore = await js('window.playground.runs');
  await js(`document.getElementById('clock-mode').value = 'fixed'`);
  await typeInto('now', NOW);
  await until(`window.playground.runs > ${runsBefore}`, 'the clock to be set');

  // 1. The example's table.
  const table = await js(`document.getElementById('run-output').textContent`);
  same('the example table', table, exampleTable.stdout);
  console.log(`example table: ${table === exampleTable.stdout ? 'same' : 'DIFFERENT'} ` +
              `(${exampleTable.stdout.split('\n').length - 1} lines)`);

  // The HL7 message of the same run.
  let runs = await js('window.playground.runs');
  await js(`document.querySelector('input[name="run-mode"][value="hl7"]').click()`);
  await until(`window.playground.runs > ${runs}`, 'the HL7 message');
  same('the example HL7 message', await js('window.playground.run.out'), exampleHl7.stdout);
  same('the HL7 message shown', await js(`document.getElementById('run-output').textContent`),
       exampleHl7.stdout.replace(/\r/g, '\n'));
  runs = await js('window.playground.runs');
  await js(`document.querySelector('input[name="run-mode"][value="table"]').click()`);
  await until(`window.playground.runs > ${runs}`, 'the table again');

  // A value typed into the fields table: the run goes over the table's fields.
  runs = await js('window.playground.runs');
  const sexRow = await js(`[...document.querySelectorAll('#fields tbody tr')]
    .findIndex((tr) => tr.querySelector('input').value === 'SexCode') + 1`);
  if (sexRow === 0) throw new Error('the fields table has no SexCode row');
  await typeInto(null, 'M', `#fields tbody tr:nth-child(${sexRow}) td:nth-child(3) input`);
  await until(`window.playground.runs > ${runs}`, 'the run over the edited field');
  const edited = await js(`document.getElementById('run-output').textContent`);
  same('the table with SexCode=M typed (from its header on)', fromHeader(edited), fromHeader(editedTable.stdout));
  if (!edited.startsWith('Document fields: playground-fields.txt (27 fields)')) {
    problems.push('the edited run does not name the page\'s fields: ' + edited.split('\n')[0]);
  }
  console.log(`HL7 message and the table over an edited field: compared`);

  // 2. The corpus, typed.
  await js(`document.getElementById('paste').open = true`);
  let compared = 0;
  let lastFields = null;
  for (const c of cases) {
    if (c.fieldsText !== lastFields) {
      const runs = await js('window.playground.runs');
      await typeInto('fields-text', c.fieldsText);
      await js(`document.getElementById('apply-fields').click()`);
      await until(`window.playground.runs > ${runs}`, 'the fields of ' + c.name);
      const message = await js(`document.getElementById('fields-message').textContent`);
      if (message) problems.push(`${c.name}: the page refused the fields: ${message}`);
      lastFields = c.fieldsText;
    }
    await typeInto('script', c.script);
    await until(`window.playground.last && window.playground.last.script === ${JSON.stringify(c.script)}`,
                'the answer to ' + c.name);
    const shown = await js(`({ line: document.getElementById('result-line').textContent,
                               stderr: window.playground.last.answer.stderr,
                               reports: [...document.querySelectorAll('#errors li')].map((li) => li.textContent) })`);
    const expectedLine = c.expected.stdout.replace(/\n$/, '');
    let ok = same(`${c.name}: result line`, shown.line, expectedLine);
    ok = same(`${c.name}: standard error`, shown.stderr, c.expected.stderr) && ok;
    const expectedReports = c.expected.stderr.split('\n').filter((l) => l.startsWith('ReportError: '))
      .map((l) => l.slice('ReportError: '.length));
    ok = same(`${c.name}: ReportError lines shown`, JSON.stringify(shown.reports), JSON.stringify(expectedReports)) && ok;
    if (ok) compared += 1;
  }
  console.log(`corpus scripts typed: ${cases.length}, same as qorvintr eval: ${compared}`);

  // 3. An erroneous script over the example's fields.
  await js(`document.getElementById('reset-fields').click()`);
  await typeInto('script', BAD_SCRIPT);
  await until(`window.playground.last && window.playground.last.script === ${JSON.stringify(BAD_SCRIPT)}`,
              'the answer to the erroneous script');
  const bad = await js(`({
    name: document.getElementById('result-name').textContent,
    line: document.getElementById('result-line').textContent,
    reports: [...document.querySelectorAll('#errors li')].map((li) => li.textContent),
    warnings: [...document.querySelectorAll('#warnings li .kind')].map((k) => k.textContent),
    log: document.querySelectorAll('#log li').length })`);
  same('erroneous script: result name', bad.name, 'Error');
  same('erroneous script: result line', bad.line, badExpected.stdout.replace(/\n$/, ''));
  const badReports = badExpected.stderr.split('\n').filter((l) => l.startsWith('ReportError: '))
    .map((l) => l.slice('ReportError: '.length));
  if (badReports.length === 0) problems.push('erroneous script: the command reported no error');
  same('erroneous script: ReportError lines', JSON.stringify(bad.reports), JSON.stringify(badReports));
  const kinds = JSON.parse(badCheck.stdout).map((w) => `[${w.kind}]`);
  if (kinds.length === 0) problems.push('erroneous script: qorvintr check gave no warning');
  same('erroneous script: check warnings', JSON.stringify(bad.warnings), JSON.stringify(kinds));
  if (bad.log < 2) problems.push('erroneous script: the debug log shows ' + bad.log + ' entries');
  console.log(`erroneous script ${JSON.stringify(BAD_SCRIPT)}: ${bad.name}, ${bad.reports.length} report(s), ` +
              `warnings ${bad.warnings.join(' ')}`);

  // The explain trace, step for step.
  await typeInto('script', TRACE_SCRIPT);
  await until(`window.playground.last && window.playground.last.script === ${JSON.stringify(TRACE_SCRIPT)}`,
              'the answer to the traced script');
  const trace = await js(`[...document.querySelectorAll('#trace li code')].map((c) => c.textContent.trim())`);
  if (traceExpected.length < 10) problems.push('qorvintr explain gave ' + traceExpected.length + ' steps');
  same('explain trace', JSON.stringify(trace), JSON.stringify(traceExpected));
  console.log(`explain trace of ${JSON.stringify(TRACE_SCRIPT)}: ${trace.length} steps shown`);

  // 4. The screenshot.
  await js(`document.getElementById('paste').open = false; window.scrollTo(0, 0)`);
  const shot = await page('Page.captureScreenshot', { format: 'png' });
  fs.mkdirSync(path.dirname(screenshot), { recursive: true });
  fs.writeFileSync(screenshot, Buffer.from(shot.data, 'base64'));
  console.log('screenshot: ' + screenshot);
} catch (e) {
  problems.push(String(e.stack || e));
} finally {
  clearTimeout(watchdog);
  // The browser writes its profile until it has ended; the folder goes after that.
  const ended = browser.exitCode !== null ? Promise.resolve()
                                          : new Promise((resolve) => browser.once('exit', resolve));
  browser.kill();
  await ended;
  server.close();
}

console.log(`browser test: ${((Date.now() - started) / 1000).toFixed(1)} s`);
if (problems.length > 0) {
  console.error(problems.slice(0, 20).join('\n'));
  fail(`${problems.length} difference(s) between the page and the command`);
}
console.log('PASS');
