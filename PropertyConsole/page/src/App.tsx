// SPDX-License-Identifier: MIT
// The page as a whole: what is shown where, and its keys.
import {useEffect, useState} from 'preact/hooks';
import {Chunks} from './Chunks';
import {readRoute, routeTo, type Console} from './console';
import {Dialog} from './Dialog';
import {FieldRow, rowProps} from './FieldRow';
import {Header, StatusBar} from './Header';
import {History} from './History';
import {ImportDialog} from './Import';
import {RecordChooser, RecordTable} from './Records';
import {Review} from './Review';
import {branchRows, fieldRows, foundRows, type Row, type RowSource} from './rows';
import {hasFields, type Branch} from './schema';
import {conditionsText, visible} from './show';
import {SignIn} from './SignIn';
import {texts} from './texts';
import {Tree} from './Tree';

const kRowHeight = 88; // pixels, about

function RowView({app, row, showsPath}: {app: Console; row: Row; showsPath: boolean}) {
  switch (row.kind) {
    case 'heading': {
      const Heading = `h${row.level}` as 'h2';
      return (
        <div class="heading">
          <Heading>{visible(row.branch.label) || texts.tree.homeless}</Heading>
          <small>{visible(row.branch.node.path ?? '')}</small>
        </div>
      );
    }
    case 'field': {
      const because = conditionsText(row.conditions);
      return <FieldRow {...rowProps(app, row.field, row.record, because, showsPath)} />;
    }
    case 'away': {
      const names = row.fields.map((field) => visible(field.label)).join(', ');
      return (
        <p class="away">{texts.field.wouldApply(names, conditionsText(row.conditions))}</p>
      );
    }
    case 'records':
      return (
        <RecordTable app={app} branch={row.branch} fields={row.fields} records={row.records} />
      );
    case 'without':
      return <Without app={app} branch={row.branch} />;
    case 'link':
      return (
        <div class="row link">
          <div class="name">
            <strong>{visible(row.field.label)}</strong>
            <small>{visible(row.field.path ?? '')}</small>
          </div>
          <p>
            {texts.field.records(row.count)}{' '}
            <a href={routeTo(row.field.parent ?? 0)} onClick={() => app.put({searchText: ''})}>
              {texts.field.showRecords}
            </a>
          </p>
        </div>
      );
  }
}

/** What a group with records has of none. */
function Without({app, branch}: {app: Console; branch: Branch}) {
  const source = app.rowSource;
  return (
    <>
      {app.may('operator') && <RecordChooser app={app} branch={branch} />}
      <details class="without">
        <summary>{texts.records.without}</summary>
        {source &&
          fieldRows(branch.fields, null, source).map((row) => (
            <RowView key={row.key} app={app} row={row} showsPath={false} />
          ))}
      </details>
    </>
  );
}

function RecordView({app, branch, record}: {app: Console; branch: Branch; record: number}) {
  const source = app.rowSource;
  return (
    <>
      <p>
        <a href={routeTo(branch.node.number)}>{texts.records.back(visible(branch.label))}</a>
      </p>
      <div class="heading">
        <h2>
          {visible(branch.label)} · {texts.records.title(record)}
        </h2>
      </div>
      {source &&
        fieldRows(branch.fields, record, source).map((row) => (
          <RowView key={`${record}:${row.key}`} app={app} row={row} showsPath={false} />
        ))}
    </>
  );
}

function Found({app, source}: {app: Console; source: RowSource}) {
  const found = app.schema?.search(app.searchText, app.view) ?? [];
  return (
    <>
      <p role="status">{found.length > 0 ? texts.search.results(found.length) : texts.search.none}</p>
      <Chunks
        items={foundRows(found, source)}
        rowHeight={kRowHeight}
        name="found"
        render={(row) => <RowView key={row.key} app={app} row={row} showsPath />}
      />
    </>
  );
}

function BranchView({app, branch, source}: {app: Console; branch: Branch; source: RowSource}) {
  const rows = branchRows(branch, source);
  const {number} = branch.node;
  const hasOwn = branch.fields.length > 0;
  return (
    <>
      {rows.length === 0 && <p>{texts.tree.empty}</p>}
      <Chunks
        items={rows}
        rowHeight={kRowHeight}
        name={`${app.device} ${number} ${app.view}`}
        render={(row) => <RowView key={row.key} app={app} row={row} showsPath={false} />}
      />
      {hasOwn && app.may('operator') && !rows.some((row) => row.kind === 'records') && (
        <RecordChooser app={app} branch={branch} />
      )}
    </>
  );
}

function Main({app}: {app: Console}) {
  const source = app.rowSource;
  if (!app.schema || !source || !app.service.hasValues) {
    return <p>{texts.loading}</p>;
  }
  if (app.searchText.trim() !== '') {
    return <Found app={app} source={source} />;
  }
  const first = app.schema.roots.find((branch) => hasFields(branch, app.view));
  const branch = app.schema.branchOf.get(app.route.branch ?? -1) ?? first;
  if (!branch) {
    return <p>{texts.tree.empty}</p>;
  }
  return app.route.record === null ? (
    <BranchView app={app} branch={branch} source={source} />
  ) : (
    <RecordView app={app} branch={branch} record={app.route.record} />
  );
}

function Keys({app}: {app: Console}) {
  return (
    <Dialog name="keys" heading={texts.keys.heading} onClose={() => app.put({panel: null})}>
      <dl class="keys body">
        {texts.keys.list.map(([key, what]) => (
          <div key={key}>
            <dt>
              <kbd>{key}</kbd>
            </dt>
            <dd>{what}</dd>
          </div>
        ))}
      </dl>
    </Dialog>
  );
}

function DeviceQuestion({app, device}: {app: Console; device: string}) {
  return (
    <Dialog name="question" heading={texts.device.label} onClose={() => app.put({wantedDevice: null})}>
      <p class="body">{texts.device.discard(app.edits.size)}</p>
      <footer>
        <button type="button" onClick={() => app.put({wantedDevice: null})}>
          {texts.cancel}
        </button>
        <button type="button" class="main" onClick={() => app.service.chooseDevice(device, true)}>
          {texts.device.discardButton}
        </button>
      </footer>
    </Dialog>
  );
}

function isEntering(target: EventTarget | null): boolean {
  return target instanceof HTMLElement && target.matches('input, select, textarea');
}

function pressKey(app: Console, event: KeyboardEvent): void {
  const isSearch = event.target instanceof HTMLElement && event.target.id === 'search';
  if (event.key === 'Escape' && isSearch) {
    app.put({searchText: ''});
    return;
  }
  if (event.ctrlKey || event.altKey || event.metaKey || isEntering(event.target) || app.panel) {
    return;
  }
  const actions: Record<string, () => void> = {
    '/': () => document.getElementById('search')?.focus(),
    g: () => {
      app.put({isMenuOpen: true});
      document.querySelector<HTMLElement>('#tree a')?.focus();
    },
    r: () => app.review(),
    h: () => app.transactions.showHistory(null),
    '?': () => app.put({panel: 'keys'}),
  };
  const action = actions[event.key];
  if (action) {
    event.preventDefault();
    action();
  }
}

/** What of the window concerns the state. */
function useWindow(app: Console): void {
  const [, setCount] = useState(0);
  useEffect(() => app.subscribe(() => setCount((count) => count + 1)), [app]);
  useEffect(() => {
    const onKey = (event: KeyboardEvent): void => pressKey(app, event);
    const onHash = (): void => {
      app.put({route: readRoute(location.hash)});
      window.scrollTo(0, 0);
    };
    const onLeave = (event: BeforeUnloadEvent): void => {
      if (app.edits.size > 0) {
        event.preventDefault();
      }
    };
    addEventListener('keydown', onKey);
    addEventListener('hashchange', onHash);
    addEventListener('beforeunload', onLeave);
    return () => {
      removeEventListener('keydown', onKey);
      removeEventListener('hashchange', onHash);
      removeEventListener('beforeunload', onLeave);
    };
  }, [app]);
  useEffect(() => {
    document.documentElement.dataset.theme = app.theme;
  }, [app.theme]);
}

export function App({app}: {app: Console}) {
  useWindow(app);
  if (app.session === undefined) {
    return <p class="starting">{app.failure || texts.loading}</p>;
  }
  if (app.session === null) {
    return <SignIn app={app} isAgain={app.schema !== null} />;
  }
  return (
    <>
      <a
        class="skip"
        href="#main"
        onClick={(event) => {
          event.preventDefault();
          document.getElementById('main')?.focus();
        }}
      >
        {texts.skip}
      </a>
      <Header app={app} />
      <div class="columns">
        <Tree app={app} />
        <main id="main" tabIndex={-1} class={app.isStale ? 'stale' : ''}>
          <Main app={app} />
        </main>
      </div>
      <StatusBar app={app} />
      {app.panel === 'review' && <Review app={app} />}
      {app.panel === 'history' && <History app={app} />}
      {app.panel === 'import' && <ImportDialog app={app} />}
      {app.panel === 'keys' && <Keys app={app} />}
      {app.wantedDevice !== null && <DeviceQuestion app={app} device={app.wantedDevice} />}
    </>
  );
}
