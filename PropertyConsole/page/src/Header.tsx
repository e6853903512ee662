// SPDX-License-Identifier: MIT
// The top of the page: search, device, view, connection and what to do.
import {useEffect, useState} from 'preact/hooks';
import type {Applied, Console, Theme} from './console';
import {saveExport} from './Import';
import type {View} from './schema';
import {texts} from './texts';
import {timeOfDay} from './show';

function Connection({app}: {app: Console}) {
  const isHere = app.link === 'live' || app.link === 'polling';
  const state = isHere && !app.isServerThere ? 'serverAway' : app.link;
  const text = {
    live: texts.connection.live,
    polling: texts.connection.polling,
    serverAway: texts.connection.serverAway,
    away: texts.connection.consoleAway,
    connecting: texts.connection.connecting,
  }[state];
  return (
    <span
      id="connection"
      class={`connection ${state}`}
      role="status"
      aria-label={texts.connection.label}
    >
      {text}
    </span>
  );
}

function Choice<Key extends string>(props: {
  id: string;
  label: string;
  value: Key;
  entries: readonly (readonly [Key, string])[];
  onChoose: (key: Key) => void;
}) {
  return (
    <label class="choice" for={props.id}>
      <span>{props.label}</span>
      <select
        id={props.id}
        value={props.value}
        onInput={(event) => props.onChoose(event.currentTarget.value as Key)}
      >
        {props.entries.map(([key, text]) => (
          <option key={key} value={key}>
            {text}
          </option>
        ))}
      </select>
    </label>
  );
}

function DeviceChoice({app}: {app: Console}) {
  const devices = new Set([app.own, ...app.devices, app.device].filter(Boolean));
  return (
    <Choice
      id="device"
      label={texts.device.label}
      value={app.device}
      entries={[...devices].map((device) => [
        device,
        device === app.own ? texts.device.own(device) : device,
      ])}
      onChoose={(device) => app.service.chooseDevice(device)}
    />
  );
}

export function Header({app}: {app: Console}) {
  const views: [View, string][] = [
    ['basic', texts.view.basic],
    ['advanced', texts.view.advanced],
  ];
  if (app.may('administrator')) {
    views.push(['all', texts.view.all]);
  }
  const themes: [Theme, string][] = [
    ['system', texts.theme.system],
    ['light', texts.theme.light],
    ['dark', texts.theme.dark],
  ];
  const {session} = app;
  return (
    <header class="top">
      <button
        type="button"
        class="menu"
        aria-controls="tree"
        aria-expanded={app.isMenuOpen}
        onClick={() => app.put({isMenuOpen: !app.isMenuOpen})}
      >
        {texts.tree.menu}
      </button>
      <h1>{texts.title}</h1>
      <input
        id="search"
        type="search"
        aria-label={texts.search.label}
        placeholder={texts.search.label}
        value={app.searchText}
        onInput={(event) => app.put({searchText: event.currentTarget.value})}
      />
      <Connection app={app} />
      <DeviceChoice app={app} />
      <Choice
        id="view"
        label={texts.view.label}
        value={app.view}
        entries={views}
        onChoose={(view) => app.put({view})}
      />
      <details class="more">
        <summary>{session && texts.signIn.as(session.user, texts.roles[session.role])}</summary>
        <div>
          <button type="button" onClick={() => app.transactions.showHistory(null)}>
            {texts.history.button}
          </button>
          <button type="button" onClick={() => saveExport(app)}>
            {texts.files.export}
          </button>
          {app.may('operator') && (
            <button type="button" onClick={() => app.put({panel: 'import'})}>
              {texts.files.import}
            </button>
          )}
          <button type="button" onClick={() => app.put({panel: 'keys'})}>
            {texts.keys.button}
          </button>
          <Choice
            id="theme"
            label={texts.theme.label}
            value={app.theme}
            entries={themes}
            onChoose={(theme) => app.put({theme})}
          />
          <button type="button" onClick={() => void app.service.signOut()}>
            {texts.signIn.out}
          </button>
        </div>
      </details>
    </header>
  );
}

function AppliedText({applied}: {applied: Applied}) {
  const [now, setNow] = useState(Date.now());
  useEffect(() => {
    const timer = setInterval(() => setNow(Date.now()), 1000);
    return () => clearInterval(timer);
  }, []);
  switch (applied.state) {
    case 'confirming':
      return (
        <span>
          {texts.applied.confirming(Math.max(0, Math.round((applied.until - now) / 1000)))}
        </span>
      );
    case 'confirmed':
      return <span>{texts.applied.confirmed}</span>;
    case 'takenBack':
      return <span class="problem">{texts.applied.takenBack}</span>;
    case 'undone':
      return <span>{texts.applied.undone(applied.undoneBy)}</span>;
    default:
      return <span>{texts.applied.text(applied.transaction)}</span>;
  }
}

/** What has happened, and what waits to be done. */
export function StatusBar({app}: {app: Console}) {
  const {applied} = app;
  return (
    <div class="bar">
      {app.isStale && app.session && (
        <p class="stale" role="alert">
          {texts.connection.stale(timeOfDay(app.asOf))}
        </p>
      )}
      <div role="status" aria-live="polite">
        {app.failure && (
          <p class="problem">
            {app.failure}{' '}
            <button type="button" class="quiet" onClick={() => app.put({failure: ''})}>
              {texts.close}
            </button>
          </p>
        )}
        {applied && (
          <p id="applied">
            <AppliedText key={applied.transaction} applied={applied} />{' '}
            {applied.state !== 'undone' && applied.state !== 'takenBack' && (
              <button type="button" onClick={() => void app.transactions.undo(applied.transaction)}>
                {texts.applied.undo}
              </button>
            )}{' '}
            <button type="button" class="quiet" onClick={() => app.put({applied: null})}>
              {texts.close}
            </button>
          </p>
        )}
      </div>
      {app.edits.size > 0 && (
        <button type="button" id="review-button" class="main" onClick={() => app.review()}>
          {texts.review.button(app.edits.size)}
        </button>
      )}
    </div>
  );
}
