// SPDX-License-Identifier: MIT
// Makes one script, one style sheet and one icon of the page; nothing stands in its HTML itself.
import {defineConfig} from 'vite';

export default defineConfig({
  base: '/',
  esbuild: {jsx: 'automatic', jsxImportSource: 'preact', legalComments: 'none'},
  build: {
    target: 'es2020',
    assetsInlineLimit: 0,
    modulePreload: {polyfill: false},
    chunkSizeWarningLimit: 200,
  },
});
