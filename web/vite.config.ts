import { defineConfig } from 'vite';

// The page lies somewhere below a camera's web server, so every address in it is relative. Nothing is
// inlined: the page's content security policy allows files of its own only.
export default defineConfig({
    base: './',
    define: { __VERSION__: JSON.stringify(process.env['ZM_VERSION'] ?? '0.0.0') },
    build: {
        target: 'es2021',
        outDir: 'dist',
        assetsDir: 'assets',
        assetsInlineLimit: 0,
        modulePreload: { polyfill: false },
        sourcemap: false,
    },
    server: {
        // A page under development talks to the application that ./run has started.
        proxy: {
            '/local/zerith_markers/zerith_markers.cgi': process.env['ZM_SERVER'] ?? 'http://127.0.0.1:8080',
            '/axis-cgi': process.env['ZM_SERVER'] ?? 'http://127.0.0.1:8080',
        },
    },
});
