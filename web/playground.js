// The playground page: every answer comes from the engine module (qorvintr.js, the command's
// own pieces compiled to WebAssembly); this script only gathers the inputs and shows the answers.
// A classic script, not a module: browsers refuse module scripts on pages opened from file://.
'use strict';

(function () {
  const TYPES = ['String', 'Long', 'Integer', 'Boolean', 'Single', 'Double', 'Date', 'Variant'];
  const $ = (id) => document.getElementById(id);

  let engine = null;
  let fields = [];          // {name, type, value}: the table, the value as the field's text
  let exampleFields = [];
  const state = { ready: false, evaluations: 0, runs: 0, last: null, run: null };
  window.playground = state;

  function clock() {
    return $('clock-mode').value === 'fixed' ? $('now').value.trim() : '';
  }

  function sameAsExample() {
    return JSON.stringify(fields) === JSON.stringify(exampleFields);
  }

  function element(tag, text, className) {
    const e = document.createElement(tag);
    if (text !== undefined) e.textContent = text;
    if (className) e.className = className;
    return e;
  }

  // ---- fields -------------------------------------------------------------------------------

  function renderFields() {
    const body = $('fields').tBodies[0];
    body.replaceChildren();
    fields.forEach((field, i) => {
      const row = document.createElement('tr');
      const name = element('input');
      name.value = field.name;
      name.setAttribute('aria-label', 'Name of field ' + (i + 1));
      name.addEventListener('input', () => { field.name = name.value; changed(); });
      const type = element('select');
      type.setAttribute('aria-label', 'DataType of field ' + (i + 1));
      for (const t of TYPES) type.append(new Option(t, t, false, t === field.type));
      type.addEventListener('change', () => { field.type = type.value; changed(); });
      const value = element('input');
      value.value = field.value;
      value.setAttribute('aria-label', 'Value of field ' + (i + 1));
      value.addEventListener('input', () => { field.value = value.value; changed(); });
      const remove = element('button', '×', 'remove');
      remove.type = 'button';
      remove.title = 'Remove this field';
      remove.setAttribute('aria-label', 'Remove field ' + (i + 1));
      remove.addEventListener('click', () => {
        fields.splice(i, 1);
        renderFields();
        changed();
        const rows = $('fields').tBodies[0].rows;
        if (rows.length) rows[Math.min(i, rows.length - 1)].querySelector('input').focus();
      });
      for (const c of [name, type, value, remove]) row.append(cell(c));
      body.append(row);
    });
  }

  function cell(child) {
    const td = document.createElement('td');
    td.append(child);
    return td;
  }

  function useFieldsText(text) {
    const read = engine.readFields(text);
    if (read.usage) {
      $('fields-message').textContent = read.usage;
      return false;
    }
    $('fields-message').textContent = '';
    fields = read.fields;
    renderFields();
    changed();
    return true;
  }

  function changed() {
    evaluate();
    run();
  }

  // ---- one script -----------------------------------------------------------------------------

  function evaluate() {
    if (!engine) return;
    const script = $('script').value;
    const answer = engine.evaluate(script, fields, clock());
    state.evaluations += 1;
    state.last = { script, answer };
    showAnswer(answer);
  }

  function showAnswer(answer) {
    const result = $('result');
    result.className = '';
    if (answer.usage) {
      result.className = 'error';
      $('result-name').textContent = 'not run';
      $('result-type').textContent = '';
      $('result-value').textContent = answer.usage;
      $('result-line').textContent = '';
      for (const id of ['warnings', 'errors', 'log', 'trace']) $(id).replaceChildren();
      return;
    }
    $('result-line').textContent = answer.line;
    if (answer.nothing) {
      result.className = 'nothing';
      $('result-name').textContent = 'Nothing';
      $('result-type').textContent = '';
      $('result-value').textContent = '';
    } else {
      // The result line's three parts, each escaped to one line as the command prints them.
      const [name, type, value] = answer.line.split('\t');
      if (answer.error) result.className = 'error';
      $('result-name').textContent = name;
      $('result-type').textContent = type;
      $('result-value').textContent = value;
    }
    showWarnings(answer.warnings);
    $('errors').replaceChildren(...answer.errors.map((line) => element('li', line.replace(/^ReportError: /, ''))));
    $('log').replaceChildren(...answer.log.map((entry) => {
      const li = element('li');
      li.append(element('pre', entry.replace(/^\r\n/, '').replace(/\r\n/g, '\n')));
      return li;
    }));
    showTrace(answer.trace);
  }

  function showWarnings(warnings) {
    $('warnings').replaceChildren(...warnings.map((w) => {
      const li = element('li');
      li.append(element('span', 'line ' + w.line + ', column ' + w.column + ' '),
                element('span', '[' + w.kind + ']', 'kind'), ' ', element('code', w.word), ': ',
                element('span', w.message));
      if (w.rewrite !== null) {
        const use = element('button', 'Use the rewrite');
        use.type = 'button';
        use.title = w.rewrite;
        use.addEventListener('click', () => {
          $('script').value = w.rewrite;
          evaluate();
          $('script').focus();
        });
        li.append(' ', use);
      }
      return li;
    }));
  }

  // The interpreter's own steps (as `qorvintr explain` prints them): each with its kind (word,
  // push, reduce, call, branch, failure, remove ...), indented by the level of its run.
  function showTrace(trace) {
    const has = Array.isArray(trace);
    $('trace-missing').hidden = has;
    $('trace').replaceChildren(...(has ? trace : []).map((step) => {
      if (typeof step === 'string') return element('li', step);
      const li = element('li');
      if (step.kind) li.append(element('span', step.kind + ' ', 'kind'));
      li.append(element('code', step.text !== undefined ? String(step.text) : JSON.stringify(step)));
      return li;
    }));
  }

  // ---- the whole example ------------------------------------------------------------------

  function run() {
    if (!engine) return;
    const hl7 = document.querySelector('input[name="run-mode"]:checked').value === 'hl7';
    // Over the bundled fields file while the table holds just those, so that the header names
    // the same files as `bash scripts/run.sh`; else over the table's fields.
    const answer = engine.run(sameAsExample() ? null : fields, clock(), hl7);
    state.runs += 1;
    state.run = answer;
    // HL7 segments end in CR; on the page each gets its own line.
    $('run-output').textContent = hl7 ? answer.out.replace(/\r/g, '\n') : answer.out;
    $('run-errors').textContent = (answer.usage ? answer.usage + '\n' : '') + answer.err;
  }

  // ---- start ----------------------------------------------------------------------------------

  function wire() {
    $('script').addEventListener('input', evaluate);
    $('examples').addEventListener('change', () => {
      if ($('examples').value === '') return;
      $('script').value = engine.exampleScripts()[Number($('examples').value)].script;
      evaluate();
    });
    $('clock-mode').addEventListener('change', () => {
      $('now').disabled = $('clock-mode').value !== 'fixed';
      changed();
    });
    $('now').addEventListener('input', changed);
    $('add-field').addEventListener('click', () => {
      fields.push({ name: 'Field' + (fields.length + 1), type: 'String', value: '' });
      renderFields();
      changed();
      const rows = $('fields').tBodies[0].rows;
      rows[rows.length - 1].querySelector('input').select();
    });
    $('reset-fields').addEventListener('click', () => {
      fields = exampleFields.map((f) => ({ ...f }));
      renderFields();
      changed();
    });
    $('apply-fields').addEventListener('click', () => useFieldsText($('fields-text').value));
    for (const radio of document.querySelectorAll('input[name="run-mode"]')) {
      radio.addEventListener('change', run);
    }
  }

  function start(module) {
    engine = module;
    $('version').textContent = 'engine ' + engine.version() + ' (WebAssembly)';
    const text = engine.exampleFieldsText();
    $('fields-text').value = text;
    exampleFields = engine.readFields(text).fields;
    fields = exampleFields.map((f) => ({ ...f }));
    renderFields();
    engine.exampleScripts().forEach((s, i) => {
      $('examples').append(new Option(s.field + '   ' + s.script.replace(/\r\n|\r|\n/g, ' ⏎ '), String(i)));
    });
    $('examples').value = '0';
    $('script').value = engine.exampleScripts()[0].script;
    wire();
    changed();
    $('status').textContent = 'Ready';
    state.ready = true;
  }

  createQorvIntr().then(start, (error) => {
    $('status').textContent = 'The engine did not load: ' + error;
    $('status').className = 'failed';
  });
})();
