import { fileURLToPath } from 'node:url';
import js from '@eslint/js';
import { configs as lit } from 'eslint-plugin-lit';
import ts from 'typescript-eslint';

export default ts.config(
    { ignores: ['dist', 'node_modules'] },
    js.configs.recommended,
    {
        files: ['**/*.ts'],
        extends: [...ts.configs.strictTypeChecked, lit['flat/recommended']],
        languageOptions: { parserOptions: { projectService: true, tsconfigRootDir: fileURLToPath(new URL('.', import.meta.url)) } },
        rules: {
            '@typescript-eslint/restrict-template-expressions': ['error', { allowNumber: true }],
            '@typescript-eslint/switch-exhaustiveness-check': ['error', { considerDefaultExhaustiveForUnions: true }],
            // It takes a function that gives undefined for one that gives nothing.
            '@typescript-eslint/no-confusing-void-expression': 'off',
            '@typescript-eslint/no-unused-vars': ['error', { varsIgnorePattern: '^_', argsIgnorePattern: '^_' }],
            '@typescript-eslint/prefer-literal-enum-member': 'error',
            eqeqeq: 'error',
            'no-restricted-properties': ['error', { property: 'innerHTML' }, { property: 'outerHTML' }],
            'no-restricted-imports': [
                'error',
                { paths: ['lit/directives/unsafe-html.js', 'lit/directives/unsafe-svg.js'] },
            ],
        },
    },
    {
        files: ['**/*.mjs', '*.js'],
        languageOptions: { globals: { process: 'readonly', console: 'readonly', URL: 'readonly' } },
    },
);
