// SPDX-License-Identifier: MIT
// Starts the page.
import {render} from 'preact';
import {App} from './App';
import {Console} from './console';

const app = new Console();
const place = document.getElementById('page');
if (place) {
  render(<App app={app} />, place);
}
void app.service.start();
