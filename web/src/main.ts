import './ui/app';
import { preferredLanguage, setLanguage } from './i18n/texts';
import { store } from './state/store';

// Without its texts a language cannot be shown; English is always there.
setLanguage(preferredLanguage(), false).catch(() => undefined);
store.start();
