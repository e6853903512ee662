// SPDX-License-Identifier: MIT
// Asks who is there; over the page where a session has ended, so that edits are kept.
import {useState} from 'preact/hooks';
import type {Console} from './console';
import {texts} from './texts';

export function SignIn({app, isAgain}: {app: Console; isAgain: boolean}) {
  const [isBusy, setBusy] = useState(false);
  const submit = async (event: SubmitEvent): Promise<void> => {
    event.preventDefault();
    const data = new FormData(event.currentTarget as HTMLFormElement);
    setBusy(true);
    await app.service.signIn(String(data.get('user')), String(data.get('password')));
    setBusy(false);
  };
  return (
    <main class="sign-in">
      <form onSubmit={(event) => void submit(event)}>
        <h1>{texts.title}</h1>
        {isAgain && <p>{texts.signIn.over}</p>}
        <label>
          {texts.signIn.user}
          <input name="user" autocomplete="username" autocapitalize="none" required autofocus />
        </label>
        <label>
          {texts.signIn.password}
          <input name="password" type="password" autocomplete="current-password" required />
        </label>
        <p class="problem" role="alert">
          {app.signInFailure}
        </p>
        <button type="submit" class="main" disabled={isBusy}>
          {texts.signIn.button}
        </button>
      </form>
    </main>
  );
}
